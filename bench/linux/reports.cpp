// tsport report over a large log, against counting its lines.
#include <sys/resource.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "bench/linux/others.h"
#include "bench/plan.h"
#include "bench/print_server.h"
#include "host/platform.h"

namespace bench {
namespace {

constexpr double kMostMemoryMiB = 64;

// What the monitor writes with Debug=on while documents of 16 to 640 KiB print, side by side.
std::string log_of_documents(const Bench& bench) {
    constexpr unsigned kPorts = 4;
    PrintServer server(bench.receiver.port(), kPorts);
    server.start({"Debug=on", "LogRotateNumber=1"});
    const std::vector<char> data = buffer_of(16 * kKiB);
    on_threads(kPorts, [&](unsigned port) {
        for (unsigned i = 0; i < 200; ++i) server.print(port, data, (1 + i % 40) * data.size(), data.size());
    });
    server.stop();
    std::ostringstream text;
    text << std::ifstream(server.folder.log(), std::ios::binary).rdbuf();
    return text.str();
}

// The same over and over, until it is as large as that.
std::uint64_t write_log(const std::string& path, const std::string& piece, std::uint64_t size) {
    std::ofstream file(path, std::ios::binary);
    std::uint64_t written = 0;
    for (; written < size; written += piece.size())
        file.write(piece.data(), static_cast<std::streamsize>(piece.size()));
    require(static_cast<bool>(file.flush()), "the log cannot be written: " + path);
    return written;
}

// Runs a command in a process of its own; its peak of memory in MiB.
double run_quietly(const std::string& command, Cost& cost) {
    rusage used{};
    cost = cost_of([&] {
        const pid_t process = start({"/bin/sh", "-c", "exec " + command});
        int status = -1;
        require(wait4(process, &status, 0, &used) == process && WIFEXITED(status) && WEXITSTATUS(status) == 0,
                command + " failed");
    });
    return static_cast<double>(used.ru_maxrss) / 1024;
}

}  // namespace

void reports(Bench& bench) {
    const std::string folder = host::make_temporary_folder();
    require(!folder.empty(), "no folder for the log");
    const std::string log = folder + "/print-monitor.log";
    const std::uint64_t size = write_log(log, log_of_documents(bench), bench.scaled(kGiB));
    double memory = 0;
    const Sample ours = [&] {
        Cost cost;
        memory = std::max(memory, run_quietly(host::executable_folder() + "/tsport report " + log, cost));
        return cost;
    };
    const Sample theirs = [&] {
        Cost cost;
        run_quietly("wc -l " + log, cost);
        return cost;
    };
    const std::string what = "report on " + host::size_to_text(size) + " of log";
    compare(bench, what, "wc -l", 10.0, ours, theirs);
    bench.report.add(figure_row(what + ", peak memory", "MiB", memory, kMostMemoryMiB));
    std::filesystem::remove_all(folder);
}

}  // namespace bench
