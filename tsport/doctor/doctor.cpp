// tsport doctor: checks everything that printing depends on.
#include <algorithm>
#include <chrono>

#include "host/platform.h"
#include "tsport/answer.h"
#include "tsport/doctor/base.h"
#include "tsport/doctor/crashes.h"
#include "tsport/doctor/server.h"
#include "tsport/file.h"
#include "tsport/output.h"
#include "tsport/report/options.h"
#include "winportmon/contract/names.h"

namespace tsport {

const char doctor_help[] = R"(usage: tsport doctor [--only WORD] [--skip WORD] [--timeout SECONDS] [--json]
       tsport doctor [--base DIR] [--store FILE] [--events FILE] ...

Checks everything needed for printing: the spooler, the monitor and its library, the Print Provider, its settings and
directories, the helper program, rights, the log, ports and queues. Nothing is changed. A finding has an identifier and
says what was found, what it means and how to fix it. First come those that are broken, [X], then those at risk, [!],
and what is good to know, [i]. All findings are explained by
DOCTOR.html.

  --base DIR         checks a copy of a server's base directory (InstallPath\providers\print\win), on any machine, or
                     another server's own by its share (\\NAME\C$\...)
  --store FILE       checks the ports in FILE, as tsport export writes it
  --events FILE      says whether crashes of the spooler were this library's, from event logs exported as XML, on any
                     machine (wevtutil qe Application /f:xml > application.xml); may be given several times
  --only WORD        only these findings; WORD is an identifier (conf.unknown-name) or its first part (conf)
  --skip WORD        all but these; both may be given several times, and name several, separated by commas
  --timeout SECONDS  how long a printer may take to accept a connection (default 5)

Exit status: 0 no findings, 1 findings, 2 usage error, 3 the server cannot be checked. Without --base, --store
and --events it checks this server and has to run as administrator.

examples:
  tsport doctor
  tsport doctor --only conf,dirs
  tsport doctor --base C:\copy\win --store ports.txt --skip ports.no-answer --json
)";

namespace doctor {
namespace {

command_line::Option words(const std::string& name, command_line::Words& target) {
    const auto take = [&target](const std::string& value) {
        for (size_t begin = 0; begin <= value.size();) {
            const size_t end = std::min(value.find(',', begin), value.size());
            target.push_back(value.substr(begin, end - begin));
            const std::string wrong = choice_fault(target.back());
            if (!wrong.empty()) return wrong;
            begin = end + 1;
        }
        return std::string();
    };
    return {name, "WORD", take};
}

void check_base(const BaseDirectory& base, Findings& findings) {
    const Settings settings = check_settings(base.path, findings);
    const std::vector<Directory> directories = check_directories(base, settings, findings);
    check_helper(base, findings);
    check_log(base, settings, base.copied ? std::nullopt : std::optional(report::local_now()), findings);
    if (base.copied) {
        findings.skipped("rights", "a copy does not show the server's access rights");
    } else {
        check_rights(base, settings, directories, findings);
    }
}

void check_all_ports(const std::vector<Port>& ports, const Command& command, Findings& findings) {
    if (!findings.wants("ports")) return;
    check_ports(ports, findings);
    try_ports(ports, std::chrono::seconds(command.timeout_seconds), findings);
}

void check_server(const Command& command, Findings& findings) {
    const std::string system = system_directory();
    const Spooler spooler;
    Installed installed{system + "\\" MONITOR_LIBRARY, system, ""};
    std::string why;
    // In the package this program has a folder of its own.
    read_file(host::executable_folder() + "/../SHA256SUMS", installed.sums, why);
    const bool registered = check_registration(HKEY_LOCAL_MACHINE, findings);
    check_library(installed, findings);
    check_protected_print(HKEY_LOCAL_MACHINE, findings);
    check_spooler(spooler, registered, findings);
    const std::string base = find_base(HKEY_LOCAL_MACHINE, findings);
    if (!base.empty()) check_base({base, false}, findings);
    const std::vector<Port> ports = read_registry_ports(HKEY_LOCAL_MACHINE, findings);
    check_all_ports(ports, command, findings);
    check_queues(spooler, ports, findings);
}

// What was given of a server: its base directory, its ports, or both. False with the reason when it cannot be read.
bool check_copy(const Command& command, Findings& findings, std::string& why) {
    why = command.base + " is not a directory";
    if (!command.base.empty() && !is_directory(command.base)) return false;
    std::vector<Port> ports;
    if (!command.store.empty() && !read_file_ports(command.store, ports, findings, why)) return false;
    const auto skip = [&findings](const command_line::Words& areas, const char* reason) {
        for (const std::string& area : areas) findings.skipped(area, reason);
    };
    skip({"spooler", "monitor", "provider", "queues"}, "it can be checked on the server itself only");
    if (command.base.empty()) {
        skip({"conf", "env", "dirs", "helper", "rights", "log"}, "name a copy of the base directory with --base DIR");
    } else {
        check_base({command.base, true}, findings);
    }
    if (command.store.empty()) {
        skip({"ports"}, "name a file of ports with --store FILE");
    } else {
        check_all_ports(ports, command, findings);
    }
    return command.events.empty() || check_event_files(command.events, command.base, findings, why);
}

}  // namespace

command_line::Options options(Command& command) {
    return {command_line::text("--base", "DIR", command.base), command_line::texts("--events", "FILE", command.events),
            words("--only", command.findings.only), words("--skip", command.findings.skip),
            command_line::number("--timeout", 1, 600, command.timeout_seconds)};
}

void examine(const Task& task) {
    const Command& command = task.command;
    Findings findings(command.findings);
    std::string why;
    if (!command.base.empty() || !command.store.empty() || !command.events.empty()) {
        if (!check_copy(command, findings, why)) return task.fail(refused, why, "file");
    } else if (why_no_server() != nullptr) {
        return task.fail(refused, why_no_server(), "no-spooler");
    } else {
        check_server(command, findings);
    }
    if (findings.saw_nothing()) {
        return task.fail(refused, "nothing that was asked for can be checked here; see tsport doctor --help", "file");
    }
    task.reply.status = findings.all().empty() ? done : not_there;
    task.reply.payload = command.json ? findings.to_json() : findings.to_text();
    if (!command.json && !findings.all().empty()) task.reply.payload += with_pages("DOCTOR.html explains them.\n");
}

}  // namespace doctor
}  // namespace tsport
