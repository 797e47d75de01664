// Documents from a file, against CUPS' program for raw ports.
#include <fcntl.h>
#include <unistd.h>

#include "bench/linux/others.h"
#include "bench/plan.h"
#include "bench/print_server.h"

namespace bench {
namespace {

constexpr const char* kPeer = "cups backend";

void print_file(const PrintServer& server, const std::string& path, std::vector<char>& buffer) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    require(file >= 0, path + " cannot be read");
    const HANDLE handle = server.begin(0);
    for (ssize_t count = 0; (count = read(file, buffer.data(), buffer.size())) > 0;) {
        server.write(handle, buffer.data(), static_cast<size_t>(count));
    }
    server.end(handle);
    close(file);
}

}  // namespace

void cups(Bench& bench) {
    const std::uint64_t size = bench.scaled(kGiB);
    const std::string name = host::size_to_text(size) + " document, 64.0 KiB writes, from a file";
    if (!has_cups_backend()) return bench.report.skip(name, "skipped: package cups is not installed");
    PrintServer server(bench.receiver.port(), 1);
    server.start();
    const spooler_sim::ClientScope client(W("client"));
    const std::string path = server.folder.base + "/document";
    std::vector<char> buffer = buffer_of(kUsualWrite);
    write_document(path, buffer, size);
    const Measured pairs =
        compare(bench, name, kPeer, 1.0, delivering(bench, size, 1, timed([&] { print_file(server, path, buffer); })),
                delivering(bench, size, 1, timed([&] { send_by_cups(bench.receiver.port(), path); })));
    const double rate = static_cast<double>(size) / static_cast<double>(kGiB) / median(pairs.wall.second);
    if (!bench.chart.empty()) bench.chart.push_back({kPeer, "#2980b9", {{0, rate}}});
}

}  // namespace bench
