// Prints files through the monitor on one or several ports and says what became of each job.
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

#include "tools/host/monitor_host.h"
#include "tools/host/platform.h"
#include "tools/spoolhost/options.h"

namespace {

using spoolhost::Options;

struct Work {
    const Options& options;
    host::MonitorHost& monitor;
    std::atomic<std::uint64_t> next{0};
    std::atomic<std::uint64_t> bad{0};
    std::mutex output;
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

void report(Work& work, const std::string& file, std::uint64_t port, const host::Outcome& outcome) {
    const std::string name = host::utf8_of(host::path_of(file).filename());
    const std::lock_guard lock(work.output);
    std::printf("job %s %s %s %s %s %s  %s\n", host::padded(std::to_string(outcome.job_id), 6).c_str(),
                host::padded(name, 24).c_str(), host::padded(host::to_utf8(port_name(port)), 10).c_str(),
                host::padded(host::size_in_words(outcome.bytes), 10).c_str(),
                host::padded(host::seconds_in_words(outcome.seconds), 9).c_str(),
                host::padded(host::rate_in_words(outcome.bytes, outcome.seconds), 13).c_str(), outcome.words.c_str());
    std::fflush(stdout);
}

bool print_one(Work& work, const std::string& file, std::uint64_t port) {
    host::Document document;
    if (!host::file_source(file, document.source)) {
        const std::lock_guard lock(work.output);
        std::printf("%s: cannot be read\n", file.c_str());
        return false;
    }
    document.port = port_name(port);
    document.printer = printer_name(port);
    document.name = host::to_text(host::utf8_of(host::path_of(file).filename()));
    document.not_approved = work.options.not_approved;
    document.write_size = static_cast<DWORD>(work.options.write_size);
    document.most_restarts = static_cast<unsigned>(work.options.restarts);
    const host::Outcome outcome = work.monitor.print_document(document);
    report(work, file, port, outcome);
    return outcome.result == (work.options.not_approved ? host::Result::refused : host::Result::printed);
}

// One port's share of the jobs: whichever is next.
void drive_port(Work& work, std::uint64_t port) {
    const std::uint64_t total = work.options.files.size() * work.options.jobs;
    for (std::uint64_t job = work.next++; job < total; job = work.next++) {
        if (!print_one(work, work.options.files[job % work.options.files.size()], port)) ++work.bad;
    }
}

std::uint64_t print_all(const Options& options, host::MonitorHost& monitor) {
    Work work{options, monitor, {}, {}, {}};
    std::vector<std::thread> ports;
    for (std::uint64_t i = 0; i < options.ports; ++i) ports.emplace_back(drive_port, std::ref(work), i);
    for (std::thread& port : ports) port.join();
    const std::uint64_t total = options.files.size() * options.jobs;
    std::printf("%llu of %llu jobs came to a good end\n", static_cast<unsigned long long>(total - work.bad),
                static_cast<unsigned long long>(total));
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
        return 1;
    }
    if (!store_ports(options)) {
        std::fprintf(stderr, "spoolhost: the ports cannot be stored in the registry\n");
        return 1;
    }
    host::MonitorHost monitor;
    if (!monitor.load(setup, why)) {
        std::fprintf(stderr, "spoolhost: %s\n", why.c_str());
        return 1;
    }
    const std::uint64_t bad = print_all(options, monitor);
    monitor.unload();
    if (options.show_log) show_log(setup.folder.log());
    return bad == 0 ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    Options options;
    std::string why;
    if (!spoolhost::parse_options(count, arguments, options, why)) {
        std::fprintf(stderr, "spoolhost: %s\nTry spoolhost --help.\n", why.c_str());
        return 2;
    }
    if (options.help) {
        std::fputs(spoolhost::usage, stdout);
        return 0;
    }
    const std::string temporary = options.base.empty() ? host::make_temporary_folder() : std::string();
    const int status = run(options, options.base.empty() ? temporary : options.base);
    std::error_code error;
    if (!temporary.empty()) std::filesystem::remove_all(host::path_of(temporary), error);
    return status;
}
