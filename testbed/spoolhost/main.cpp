// Prints files through the monitor on one or several ports and says what became of each job.
#include <atomic>
#include <cstdio>
#include <fstream>
#include <thread>

#include "host/command_line/options.h"
#include "host/platform.h"
#include "host/progress.h"
#include "testbed/print_server.h"
#include "testbed/records.h"

namespace {

const char usage[] = R"(spoolhost - prints files through the port monitor, as the print spooler would

usage: spoolhost --printer HOST:PORT [options] FILE...

  --printer HOST:PORT   the printer; given several times, the ports take turns
  --library PATH        the monitor's library (default: the one beside this program)
  --ports N             prints on N ports at once, 1 to 1024 (default 1)
  --jobs N              prints every file N times (default 1)
  --write-size BYTES    the buffer given to each WritePort (default 65536)
  --restarts N          sends a job again at most N times when the monitor asks for it (default 3)
  --conf KEY=VALUE      a line for print-provider.conf; may be given several times
  --base DIR            the install folder to use and to keep (default: a temporary one, kept when a job failed)
  --not-approved        marks every job as not approved; none may reach the printer
  --check LINE          has the hardware checked by the sample helper program, which answers as LINE says
  --force               forces duplex and two copies on every job, which the sample helper program rewrites
  --show-log            prints print-monitor.log at the end
  --version             the version
  -h, --help, /?        this text

examples:
  spoolhost --printer 192.168.1.20:9100 invoice.ps
  spoolhost --printer localhost:9100 --ports 16 --jobs 100 --write-size 4096 label.prn
  spoolhost --printer localhost:9100 --check 'on startdoc WAIT "Door Open" for 5 s then OK' page.ps
  spoolhost --printer localhost:9100 --conf Debug=on --base /tmp/monitor --show-log page.pcl

On a terminal it shows how far the jobs have come, and since when no printer has taken anything. A job whose data the
monitor has discarded is "refused" when it was not approved, "dropped" when the helper program ordered it deleted.

Exit status: 0 every job was printed (with --not-approved: refused), 1 one was not, 2 wrong command line or file, 3 the
monitor cannot be started.
)";

struct Options {
    std::string library;
    std::vector<std::pair<std::string, DWORD>> printers;  // host and TCP port
    std::uint64_t ports = 1;
    std::uint64_t write_size = 65536;
    std::uint64_t jobs = 1;
    std::uint64_t restarts = 3;
    std::vector<std::string> conf;
    std::string base;
    bool not_approved = false;
    std::string check;
    bool force = false;
    bool show_log = false;
    command_line::Words files;

    std::uint64_t all_jobs() const { return files.size() * jobs; }
};

command_line::Options options_of(Options& options) {
    using namespace command_line;
    const auto add_printer = [&options](const std::string& value) {
        auto& [name, port] = options.printers.emplace_back();
        return host::parse_host_port(value, name, port) ? "" : "--printer takes HOST:PORT, not \"" + value + "\"";
    };
    const auto add_setting = [&options](const std::string& value) {
        options.conf.push_back(value);
        return value.find('=') != std::string::npos ? "" : "--conf takes KEY=VALUE, not \"" + value + "\"";
    };
    return {{"--printer", "HOST:PORT", add_printer},
            text("--library", "PATH", options.library),
            number("--ports", 1, 1024, options.ports),
            number("--jobs", 1, 1000000, options.jobs),
            number("--write-size", 1, 1 << 30, options.write_size),
            number("--restarts", 0, 1000, options.restarts),
            {"--conf", "KEY=VALUE", add_setting},
            text("--base", "DIR", options.base),
            flag("--not-approved", options.not_approved),
            text("--check", "LINE", options.check),
            flag("--force", options.force),
            flag("--show-log", options.show_log)};
}

host::Text port_name(std::uint64_t index) {
    return host::to_text("TSPort" + std::to_string(index + 1));
}
host::Text printer_name(std::uint64_t index) {
    return host::to_text("Printer " + std::to_string(index + 1));
}

// -- Printing --------------------------------------------------------------------------------------------------------

struct Work {
    const Options& options;
    testbed::PrintServer& server;
    std::atomic<std::uint64_t> next{0};
    std::atomic<std::uint64_t> finished{0};
    std::atomic<std::uint64_t> bad{0};
    std::atomic<std::uint64_t> pieces{0};  // that printers have taken
    host::Progress* progress = nullptr;
};

std::string report_line(const host::Document& document, const host::Outcome& outcome) {
    return "job " + host::padded(std::to_string(outcome.job_id), 6) + " " +
           host::padded(host::to_utf8(document.name), 24) + " " + host::padded(host::to_utf8(document.port), 10) + " " +
           host::padded(host::size_to_text(outcome.bytes), 10) + " " +
           host::padded(host::seconds_to_text(outcome.seconds), 9) + " " +
           host::padded(host::rate_to_text(outcome.bytes, outcome.seconds), 13) + "  " + outcome.message;
}

bool print_one(Work& work, const std::string& file, std::uint64_t port) {
    host::Document document;
    if (!host::file_source(file, document.source)) {
        work.progress->print(file + ": cannot be read", stdout);
        return false;
    }
    document.port = port_name(port);
    document.printer = printer_name(port);
    document.name = host::to_text(host::utf8_of(host::path_of(file).filename()));
    document.not_approved = work.options.not_approved;
    document.write_size = static_cast<DWORD>(work.options.write_size);
    document.most_restarts = static_cast<unsigned>(work.options.restarts);
    document.progress = [&](std::uint64_t) { work.progress->show(++work.pieces); };
    document.job_id = work.server.monitor.next_job_id();
    const std::string printer = host::to_utf8(document.printer);
    const testbed::DocumentPlan plan = {
        .checked = !work.options.check.empty(), .forced = work.options.force, .script = work.options.check};
    if (plan.checked || plan.forced) testbed::lay_out(work.server.folder, printer, document.job_id, plan);
    const host::Outcome outcome = work.server.monitor.print_document(document);
    if (plan.checked || plan.forced) testbed::clear_away(work.server.folder, printer, document.job_id, plan);
    work.progress->print(report_line(document, outcome), stdout);
    return outcome.result == (work.options.not_approved ? host::Result::refused : host::Result::printed);
}

// One port's share of the jobs: whichever is next.
void drive_port(Work& work, std::uint64_t port) {
    for (std::uint64_t job = work.next++; job < work.options.all_jobs(); job = work.next++) {
        if (!print_one(work, work.options.files[job % work.options.files.size()], port)) ++work.bad;
        ++work.finished;
    }
}

// The number of jobs that did not come out as they should.
std::uint64_t print_all(const Options& options, testbed::PrintServer& server) {
    const std::string total = std::to_string(options.all_jobs());
    Work work = {options, server};
    const auto line = [&](std::uint64_t, double) { return std::to_string(work.finished) + " of " + total + " jobs"; };
    {
        host::Progress progress({.stream = host::is_terminal(stderr) ? stderr : nullptr,
                                 .total = options.all_jobs(),
                                 .line = line,
                                 .standstill = "no printer has taken anything"});
        work.progress = &progress;
        std::vector<std::thread> ports;
        for (std::uint64_t i = 0; i < options.ports; ++i) ports.emplace_back(drive_port, std::ref(work), i);
        for (std::thread& port : ports) port.join();
    }
    std::printf("%llu of %s jobs were %s\n", static_cast<unsigned long long>(options.all_jobs() - work.bad),
                total.c_str(), options.not_approved ? "refused" : "printed");
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

bool start(testbed::PrintServer& server, const Options& options, std::string& why) {
    if (!options.library.empty()) server.load_options.library = options.library;
    if (!server.set_up(options.conf, why)) return false;
    why = "the ports cannot be stored in the registry";
    for (std::uint64_t i = 0; i < options.ports; ++i) {
        const auto& [name, port] = options.printers[i % options.printers.size()];
        if (!host::store_port(port_name(i), host::to_text(name), port)) return false;
        spooler_sim::add_printer(printer_name(i));
    }
    const bool needs_helper = !options.check.empty() || options.force;
    why = "the sample helper program is not beside this program";
    return (!needs_helper || testbed::install_helper(server.folder)) && server.try_load(why);
}

int run(testbed::PrintServer& server, const Options& options) {
    std::string why;
    if (!start(server, options, why)) {
        std::fprintf(stderr, "spoolhost: %s\n", why.c_str());
        return 3;
    }
    const std::uint64_t bad = print_all(options, server);
    server.monitor.unload();
    if (options.show_log) show_log(server.folder.log());
    if (bad == 0) return 0;
    server.keep_folder();
    std::printf("the log is kept: %s\n", server.folder.log().c_str());
    return 1;
}

}  // namespace

int main(int count, char** arguments) {
    const host::Utf8Console utf8;
    Options options;
    const command_line::Program program = {"spoolhost", usage, options_of(options)};
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
    testbed::PrintServer server = options.base.empty() ? testbed::PrintServer() : testbed::PrintServer(options.base);
    return run(server, options);
}
