// A document whose attributes are forced: into a file, through a helper that copies it, to the printer.
#include <filesystem>

#include "bench/bench.h"
#include "bench/others.h"
#include "bench/print_server.h"
#include "tools/host/platform.h"
#include "tools/host/records.h"

namespace bench {
namespace {

// What brings the helper into play for the next document.
void force_next(const PrintServer& server) {
    require(host::write_force_attributes_records(server.folder, "Printer 0", PrintServer::kFirstJob),
            "the records of forced attributes cannot be written");
}

}  // namespace

void forced_attributes(Bench& bench) {
    constexpr size_t kWrite = 64 * kKiB;
    const std::uint64_t size = bench.scaled(256 * kMiB);
    const std::vector<char> data = buffer_of(kWrite);
    PrintServer server(bench.receiver.port(), 1);
    server.start();
    std::filesystem::copy_file(host::executable_folder() + "/copy_helper",
                               server.folder.base + "/ts-print-monitor.exe");
    const spooler_sim::ClientScope client(W("client"));
    const Sample ours = [&] {
        force_next(server);
        bench.receiver.expect();
        const double seconds = seconds_of([&] { server.print(0, data, size, kWrite); });
        bench.receiver.check(size, 1);
        require(std::filesystem::is_empty(server.folder.spool("forceattr")), "the attributes were not forced");
        return seconds;
    };
    const std::string file = server.folder.spool("forceattr") + "/through-cat";
    const Sample theirs = [&] {
        bench.receiver.expect();
        const double seconds = seconds_of([&] { send_through_cat(bench.receiver.port(), file, data, size); });
        bench.receiver.check(size, 1);
        return seconds;
    };
    bench.report.add(pair_row("forced attributes, " + host::size_in_words(size), "file, cat, send",
                              run_pairs(bench.effort.of(2), ours, theirs), 1.25));
}

}  // namespace bench
