// A document whose attributes are forced: into a file, through a helper that copies it, to the printer.
#include <filesystem>

#include "bench/plan.h"
#include "bench/print_server.h"
#include "host/platform.h"
#include "testbed/records.h"

namespace bench {
namespace {

// What brings the helper into play for the next document.
void force_next(const PrintServer& server) {
    require(testbed::write_force_attributes_records(server.folder, "Printer 0", PrintServer::kFirstJob),
            "the records of forced attributes cannot be written");
}

}  // namespace

void forced_attributes(Bench& bench) {
    const std::uint64_t size = bench.scaled(256 * kMiB);
    const std::vector<char> data = buffer_of(kUsualWrite);
    PrintServer server(bench.receiver.port(), 1);
    server.start();
    const std::string helper = server.folder.base + "/ts-print-monitor.exe";
    std::filesystem::copy_file(host::executable_folder() + "/copy_helper.exe", helper);
    const spooler_sim::ClientScope client(W("client"));
    const Sample print = delivering(bench, size, 1, timed([&] { server.print(0, data, size, kUsualWrite); }));
    const Sample ours = [&] {
        force_next(server);
        const Cost cost = print();
        require(std::filesystem::is_empty(server.folder.spool("forceattr")), "the attributes were not forced");
        return cost;
    };
    const std::string file = server.folder.base + "/document";
    const Sample theirs = delivering(
        bench, size, 1, timed([&] { other_forwarding().send(bench.receiver.port(), helper, file, data, size); }));
    compare(bench, "forced attributes, " + host::size_to_text(size), other_forwarding().name, 1.25, ours, theirs);
}

}  // namespace bench
