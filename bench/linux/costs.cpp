// Counted costs of documents and log lines: memory, allocations, system calls.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "bench/linux/others.h"
#include "bench/plan.h"
#include "bench/print_server.h"
#include "common/log.h"
#include "host/platform.h"
#include "winapi/linux/fault.h"

namespace bench {
namespace {

std::string own_program() {
    return host::executable_folder() + "/bench";
}

// What a command prints.
std::string output_of(const std::string& command) {
    FILE* const pipe = popen(command.c_str(), "re");
    require(pipe != nullptr, "no shell");
    std::string text;
    char buffer[4096];
    for (size_t count = 0; (count = fread(buffer, 1, sizeof buffer, pipe)) > 0;) text.append(buffer, count);
    require(pclose(pipe) == 0, command + " failed");
    return text;
}

std::string child_command(const Bench& bench, const std::string& name, std::uint64_t count) {
    return own_program() + " --child " + name + " " + std::to_string(count) + " " +
           std::to_string(bench.receiver.port());
}

// -- Memory

int print_one(std::uint64_t size, std::uint16_t port) {
    PrintServer server(port, 1);
    server.start();
    const spooler_sim::ClientScope client(W("client"));
    const std::vector<char> data = buffer_of(kUsualWrite);
    server.print(0, data, size, kUsualWrite);
    std::printf("%.0f\n", status_kib("VmHWM:"));
    return 0;
}

}  // namespace

void memory(Bench& bench) {
    const auto peak = [&](std::uint64_t size) {
        std::vector<double> peaks;
        for (int i = 0; i < 5; ++i) peaks.push_back(std::stod(output_of(child_command(bench, "memory", size))));
        return median(peaks);
    };
    const std::uint64_t size = bench.scaled(kGiB);
    const double small = peak(kMiB);
    const double large = peak(size);
    bench.report.add(figure_row("peak memory of the process, 1.0 MiB document", "KiB", small));
    bench.report.add(figure_row("peak memory of the process, " + host::size_to_text(size) + " document", "KiB", large));
    bench.report.add(figure_row("peak memory, large less small document", "KiB", large - small, 64));
    const double more = std::stod(output_of(child_command(bench, "ports", 0)));
    bench.report.add(figure_row("memory per further port and document, 64 to 1,000 ports", "KiB", more, 32));
}

// -- Allocations

namespace {

// The product's own, as the layer sees them.
std::uint64_t allocations_so_far() {
    std::uint64_t sum = 0;
    for (const winapi::fault::Point* const point : winapi::fault::points()) {
        const std::string name = point->function();
        if (name == "malloc" || name == "calloc" || name == "realloc" || name == "GlobalAlloc") sum += point->calls();
    }
    return sum;
}

std::uint64_t allocations_of(const std::function<void()>& work) {
    const std::uint64_t before = allocations_so_far();
    winapi::fault::arm(0, winapi::fault::Mode::once);
    work();
    winapi::fault::disarm();
    return allocations_so_far() - before;
}

}  // namespace

void allocations(Bench& bench) {
    constexpr unsigned kWrites = 100;
    PrintServer server(bench.receiver.port(), 1);
    const spooler_sim::ClientScope client(W("client"));
    const std::vector<char> data = buffer_of(kUsualWrite);
    for (const bool debug : {false, true}) {
        server.start(debug ? std::vector<std::string>{"Debug=on"} : std::vector<std::string>{});
        const std::string setting = debug ? ", Debug=on" : ", logging off";
        server.print(0, data, kSmallDocument, kUsualWrite);
        const HANDLE handle = server.begin(0);
        const std::uint64_t of_writes = allocations_of([&] {
            for (unsigned i = 0; i < kWrites; ++i) server.write(handle, data.data(), data.size());
        });
        server.end(handle);
        const std::uint64_t of_document = allocations_of([&] { server.print(0, data, kSmallDocument, kUsualWrite); });
        bench.report.add(figure_row("heap allocations of a WritePort" + setting, "calls",
                                    static_cast<double>(of_writes) / kWrites,
                                    debug ? std::nullopt : std::optional(0.0)));
        bench.report.add(
            figure_row("heap allocations of a 100 KiB document" + setting, "calls", static_cast<double>(of_document)));
    }
}

// -- Calls of the layer and of the system

namespace {

// Those that can fail, by their names; the layer counts no others.
Calls layer_calls_so_far() {
    Calls calls;
    for (const winapi::fault::Point* const point : winapi::fault::points()) {
        calls[point->function()] += static_cast<double>(point->calls());
    }
    return calls;
}

void add_layer_calls(Bench& bench) {
    const std::vector<char> data = buffer_of(kUsualWrite);
    PrintServer server(bench.receiver.port(), 1);
    server.start();
    const spooler_sim::ClientScope client(W("client"));
    const Calls before = layer_calls_so_far();
    winapi::fault::arm(0, winapi::fault::Mode::once);
    server.print(0, data, kSmallDocument, kUsualWrite);
    winapi::fault::disarm();
    Calls calls = layer_calls_so_far();
    Row row = {.name = "Windows calls that can fail, of a 100 KiB document, logging off", .unit = "calls"};
    for (auto& [call, count] : calls) {
        count -= before.at(call);
        row.ours += count;
    }
    row.note = calls_to_text(calls);
    bench.report.add(row);
}

// The table that strace ends with: "% time, seconds, usecs/call, calls, [errors,] name".
Calls parse_strace(const std::string& path) {
    std::ifstream file(path);
    Calls calls;
    for (std::string line; std::getline(file, line);) {
        std::istringstream cells(line);
        std::vector<std::string> words;
        for (std::string word; cells >> word;) words.push_back(word);
        if (words.size() < 5 || words[0].find_first_not_of("0123456789.") != std::string::npos) continue;
        calls[words.back()] = std::stod(words[3]);
    }
    require(calls.contains("total"), "strace counted nothing");
    return calls;
}

Calls calls_of(const Bench& bench, const std::string& child, unsigned count, const std::string& file) {
    output_of("strace -c -f -o " + file + " " + child_command(bench, child, count));
    return parse_strace(file);
}

void add_calls(Bench& bench, const std::string& name, const std::string& child, const std::string& file) {
    constexpr unsigned kLess = 200;
    constexpr unsigned kMore = 1200;
    // The difference of two runs has nothing of their start and end in it.
    const Calls less = calls_of(bench, child, kLess, file);
    Calls more = calls_of(bench, child, kMore, file);
    Row row = {.name = name, .unit = "calls"};
    for (auto& [call, count] : more) {
        const auto before = less.find(call);
        count = (count - (before != less.end() ? before->second : 0)) / (kMore - kLess);
    }
    row.ours = more["total"];
    more.erase("total");
    row.note = calls_to_text(more);
    bench.report.add(row);
}

int log_many(std::uint64_t count) {
    const std::string folder = host::make_temporary_folder();
    log_init_lock();
    log_set_path(host::to_utf8(host::windows_path(folder + "/log")).c_str());
    for (unsigned i = 0; i < count; ++i) log_info(LOG_HERE, "TSM: line %u", i);
    log_set_path("");
    std::filesystem::remove_all(folder);
    return 0;
}

}  // namespace

void system_calls(Bench& bench) {
    add_layer_calls(bench);
    if (std::system("command -v strace >/dev/null") != 0) {
        return bench.report.skip("system calls", "skipped: strace is not installed");
    }
    const std::string folder = host::make_temporary_folder();
    const std::string file = folder + "/strace";
    add_calls(bench, "system calls of a 100 KiB document, the prescribed calls", "prescribed", file);
    add_calls(bench, "system calls of a 100 KiB document, logging off", "documents", file);
    add_calls(bench, "system calls of a 100 KiB document, Debug=on", "debug", file);
    add_calls(bench, "system calls of a log line", "log", file);
    std::filesystem::remove_all(folder);
}

int run_child(const std::string& name, std::uint64_t count, std::uint16_t port) {
    if (name == "memory") return print_one(count, port);
    if (name == "ports") {
        std::printf("%.2f\n", memory_of_a_port(port));
        return 0;
    }
    if (name == "log") return log_many(count);
    return repeat_documents(name, count, port) ? 0 : 2;
}

}  // namespace bench
