#include "testbed/spoolhost/options.h"
namespace spoolhost {
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
  --base DIR            the install folder to use and to keep (default: a temporary one)
  --not-approved        marks every job as not approved; none may reach the printer
  --show-log            prints print-monitor.log at the end
  --version             the version
  -h, --help, /?        this text

examples:
  spoolhost --printer 192.168.1.20:9100 invoice.ps
  spoolhost --printer localhost:9100 --ports 16 --jobs 100 --write-size 4096 label.prn
  spoolhost --printer localhost:9100 --conf Debug=on --base /tmp/monitor --show-log page.pcl

On a terminal it shows how far the jobs have come, and which printer has taken nothing and since when. A job whose data
the monitor has discarded is "refused" when it was not approved, "dropped" when the helper program ordered it deleted.

Exit status: 0 every job was printed (with --not-approved: refused), 1 one was not, 2 wrong command line or file, 3 the
monitor cannot be started.
)";

std::string add_printer(const std::string& value, Options& options) {
    Printer printer;
    if (!host::parse_host_port(value, printer.host, printer.port)) {
        return "--printer takes HOST:PORT, not \"" + value + "\"";
    }
    options.printers.push_back(printer);
    return std::string();
}

std::string add_setting(const std::string& value, Options& options) {
    options.conf.push_back(value);
    return value.find('=') != std::string::npos ? "" : "--conf takes KEY=VALUE, not \"" + value + "\"";
}

}  // namespace

command_line::Program program_of(Options& options) {
    using namespace command_line;
    return {"spoolhost",
            usage,
            {{"--printer", "HOST:PORT", [&options](const std::string& value) { return add_printer(value, options); }},
             text("--library", "PATH", options.library),
             number("--ports", 1, 1024, options.ports),
             number("--jobs", 1, 1000000, options.jobs),
             number("--write-size", 1, 1 << 30, options.write_size),
             number("--restarts", 0, 1000, options.restarts),
             {"--conf", "KEY=VALUE", [&options](const std::string& value) { return add_setting(value, options); }},
             text("--base", "DIR", options.base),
             flag("--not-approved", options.not_approved),
             flag("--show-log", options.show_log)}};
}

}  // namespace spoolhost
