// Prints files through the monitor on one or several ports and says what became of each job.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

#include "host/monitor_host.h"
#include "host/platform.h"
#include "host/progress.h"
#include "testbed/spoolhost/options.h"

namespace {

using spoolhost::Options;

using Clock = std::chrono::steady_clock;

// The current activity of one port.
struct Activity {
    bool printing = false;
    std::uint64_t bytes = 0;
    Clock::time_point moved;  // when the printer last took something
};

struct Work {
    Work(const Options& options_, host::MonitorHost& monitor_)
        : options(options_), monitor(monitor_), ports(options_.ports) {}

    const Options& options;
    host::MonitorHost& monitor;
    std::atomic<std::uint64_t> next{0};
    std::atomic<std::uint64_t> finished{0};
    std::atomic<std::uint64_t> bad{0};
    std::mutex mutex;  // guards the activities
    std::vector<Activity> ports;
    host::Progress* progress = nullptr;
};

host::Text port_name(std::uint64_t index) {
    return host::to_text("TSPort" + std::to_string(index + 1));
}
host::Text printer_name(std::uint64_t index) {
    return host::to_text("Printer " + std::to_string(index + 1));
}

bool store_ports(const Options& options) {
    for (std::uint64_t i = 0; i < options.ports; ++i) {
        const spoolhost::Printer& printer = options.printers[i % options.printers.size()];
        if (!host::store_port(port_name(i), host::to_text(printer.host), printer.port)) return false;
        spooler_sim::add_printer(printer_name(i));
    }
    return true;
}

// -- What is shown ---------------------------------------------------------------------------------------------------

// One line for all ports on a terminal: their progress, and which printers accept nothing.
std::string progress_line(Work& work, std::uint64_t total) {
    constexpr std::chrono::seconds still{3};
    const std::lock_guard lock(work.mutex);
    std::string line = std::to_string(work.finished) + " of " + std::to_string(total) + " jobs";
    for (size_t i = 0; i < work.ports.size(); ++i) {
        const Activity& port = work.ports[i];
        const auto silence = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - port.moved);
        if (!port.printing || silence < still) continue;
        return line + ", " + host::to_utf8(port_name(i)) + " at " + host::size_to_text(port.bytes) + ": " +
               host::standstill_to_text("its printer has taken nothing", silence, std::chrono::system_clock::now());
    }
    return line;
}

void note(Work& work, std::uint64_t port, bool printing, std::uint64_t bytes) {
    const std::lock_guard lock(work.mutex);
    work.ports[port] = {printing, bytes, Clock::now()};
}

std::string report_line(const std::string& name, std::uint64_t port, const host::Outcome& outcome) {
    return "job " + host::padded(std::to_string(outcome.job_id), 6) + " " + host::padded(name, 24) + " " +
           host::padded(host::to_utf8(port_name(port)), 10) + " " +
           host::padded(host::size_to_text(outcome.bytes), 10) + " " +
           host::padded(host::seconds_to_text(outcome.seconds), 9) + " " +
           host::padded(host::rate_to_text(outcome.bytes, outcome.seconds), 13) + "  " + outcome.message;
}

// -- Printing --------------------------------------------------------------------------------------------------------

bool print_one(Work& work, const std::string& file, std::uint64_t port) {
    const std::string name = host::utf8_of(host::path_of(file).filename());
    host::Document document;
    if (!host::file_source(file, document.source)) {
        work.progress->print(file + ": cannot be read", stdout);
        return false;
    }
    document.port = port_name(port);
    document.printer = printer_name(port);
    document.name = host::to_text(name);
    document.not_approved = work.options.not_approved;
    document.write_size = static_cast<DWORD>(work.options.write_size);
    document.most_restarts = static_cast<unsigned>(work.options.restarts);
    document.progress = [&](std::uint64_t bytes) { note(work, port, true, bytes); };
    note(work, port, true, 0);
    const host::Outcome outcome = work.monitor.print_document(document);
    note(work, port, false, 0);
    work.progress->print(report_line(name, port, outcome), stdout);
    return outcome.result == (work.options.not_approved ? host::Result::refused : host::Result::printed);
}

// One port's share of the jobs: whichever is next.
void drive_port(Work& work, std::uint64_t port) {
    const std::uint64_t total = work.options.files.size() * work.options.jobs;
    for (std::uint64_t job = work.next++; job < total; job = work.next++) {
        if (!print_one(work, work.options.files[job % work.options.files.size()], port)) ++work.bad;
        ++work.finished;
    }
}

std::uint64_t print_all(const Options& options, host::MonitorHost& monitor) {
    const std::uint64_t total = options.files.size() * options.jobs;
    Work work(options, monitor);
    host::Progress::Options line;
    if (host::is_terminal(stderr)) line.stream = stderr;
    line.total = total;
    line.line = [&](std::uint64_t, double) { return progress_line(work, total); };
    line.still_after = std::chrono::hours(24);  // the line says itself which printer stands still
    {
        host::Progress progress(line);
        work.progress = &progress;
        std::vector<std::thread> ports;
        for (std::uint64_t i = 0; i < options.ports; ++i) ports.emplace_back(drive_port, std::ref(work), i);
        for (std::thread& port : ports) port.join();
    }
    std::printf("%llu of %llu jobs were %s\n", static_cast<unsigned long long>(total - work.bad),
                static_cast<unsigned long long>(total), options.not_approved ? "refused" : "printed");
    return work.bad;
}

void show_log(const std::string& path) {
    std::ifstream log(host::path_of(path), std::ios::binary);
    std::printf("\n%s:\n", path.c_str());
    for (std::string line; std::getline(log, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::printf("%s\n", line.c_str());
    }
}

int run(const Options& options, const std::string& install) {
    std::string why;
    host::MonitorHost::Options setup;
    setup.library =
        options.library.empty() ? host::executable_folder() + "/" + host::monitor_file_name() : options.library;
    if (!host::set_up_base(install, options.conf, setup.folder, why)) {
        std::fprintf(stderr, "spoolhost: %s\n", why.c_str());
        return 3;
    }
    if (!store_ports(options)) {
        std::fprintf(stderr, "spoolhost: the ports cannot be stored in the registry\n");
        return 3;
    }
    host::MonitorHost monitor;
    if (!monitor.load(setup, why)) {
        std::fprintf(stderr, "spoolhost: %s\n", why.c_str());
        return 3;
    }
    const std::uint64_t bad = print_all(options, monitor);
    monitor.unload();
    if (options.show_log) show_log(setup.folder.log());
    return bad == 0 ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    const host::Utf8Console utf8;
    Options options;
    const command_line::Program program = spoolhost::program_of(options);
    int status = 0;
    const auto files = command_line::operands_of(program, host::program_arguments(count, arguments), status);
    if (!files) return status;
    options.files = *files;
    if (options.printers.empty()) return command_line::wrong_line(program, "no --printer given");
    if (options.files.empty()) return command_line::wrong_line(program, "no file given");
    for (const std::string& file : options.files) {
        host::Source source;
        if (!host::file_source(file, source)) return command_line::wrong_line(program, file + " cannot be read");
    }
    const std::string temporary = options.base.empty() ? host::make_temporary_folder() : std::string();
    status = run(options, options.base.empty() ? temporary : options.base);
    std::error_code error;
    if (!temporary.empty()) std::filesystem::remove_all(host::path_of(temporary), error);
    return status;
}
