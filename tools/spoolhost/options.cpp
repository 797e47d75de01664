#include "tools/spoolhost/options.h"

#include <cstring>

namespace spoolhost {

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
  --help                this text

examples:
  spoolhost --printer 192.168.1.20:9100 invoice.ps
  spoolhost --printer localhost:9100 --ports 16 --jobs 100 --write-size 4096 label.prn
  spoolhost --printer localhost:9100 --conf Debug=on --base /tmp/monitor --show-log page.pcl

Exit status: 0 when every job came to a good end, 1 when one did not, 2 when the line was not understood.
)";

namespace {

struct Switch {
    const char* name;
    bool Options::*value;
};
constexpr Switch switches[] = {
    {"--not-approved", &Options::not_approved}, {"--show-log", &Options::show_log}, {"--help", &Options::help}};

struct Number {
    const char* name;
    std::uint64_t Options::*value;
    std::uint64_t least;
    std::uint64_t most;
};
constexpr Number numbers[] = {{"--ports", &Options::ports, 1, 1024},
                              {"--jobs", &Options::jobs, 1, 1000000},
                              {"--write-size", &Options::write_size, 1, 1 << 30},
                              {"--restarts", &Options::restarts, 0, 1000}};

bool take_value(const std::string& name, const std::string& value, Options& options, std::string& why) {
    for (const Number& number : numbers) {
        if (name != number.name) continue;
        if (host::parse_number(value, number.least, number.most, options.*number.value)) return true;
        why = name + " takes a number from " + std::to_string(number.least) + " to " + std::to_string(number.most);
        return false;
    }
    if (name == "--printer") {
        Printer printer;
        why = "--printer takes HOST:PORT, not \"" + value + "\"";
        if (!host::parse_host_port(value, printer.host, printer.port)) return false;
        options.printers.push_back(printer);
    } else if (name == "--conf") {
        why = "--conf takes KEY=VALUE";
        if (value.find('=') == std::string::npos) return false;
        options.conf.push_back(value);
    } else if (name == "--library") {
        options.library = value;
    } else if (name == "--base") {
        options.base = value;
    } else {
        why = "unknown option " + name;
        return false;
    }
    return true;
}

bool take_switch(const std::string& name, Options& options) {
    for (const Switch& entry : switches) {
        if (name != entry.name) continue;
        options.*entry.value = true;
        return true;
    }
    return false;
}

}  // namespace

bool parse_options(int count, char** arguments, Options& options, std::string& why) {
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if (argument.rfind("--", 0) != 0) {
            options.files.push_back(argument);
            continue;
        }
        if (take_switch(argument, options)) continue;
        if (i + 1 == count) {
            why = "unknown option, or one without its value: " + argument;
            return false;
        }
        if (!take_value(argument, arguments[++i], options, why)) return false;
    }
    if (options.help) return true;
    why = options.printers.empty() ? "no --printer given" : "no file given";
    return !options.printers.empty() && !options.files.empty();
}

}  // namespace spoolhost
