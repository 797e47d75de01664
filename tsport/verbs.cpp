// The table of verbs.
#include <algorithm>

#include "tsport/answer.h"
#include "tsport/output.h"

namespace tsport {
namespace {

using command_line::flag;
using command_line::number;
using command_line::Options;
using command_line::Words;

// -- Operands --------------------------------------------------------------------------------------------------------
// Each returns what is wrong, or nothing.

std::string take_text(const std::string& word, Text& text) {
    text = host::to_text(word);
    return host::to_utf8(text) == word ? std::string() : "not UTF-8 text: " + word;
}

std::string take_name(const std::string& word, Text& name) {
    const std::string why = take_text(word, name);
    return why.empty() ? name_fault(name) : why;
}

std::string take_names(const Words& words, size_t first, Command& command) {
    std::string why;
    for (size_t i = first; i < words.size() && why.empty(); ++i) {
        command.names.emplace_back();
        why = take_name(words[i], command.names.back());
    }
    return why;
}

std::string take_printer(const std::string& host, const std::string* port, Command& command) {
    std::string why = take_text(host, command.port.address);
    if (why.empty()) why = new_address_fault(command.port.address);
    if (!why.empty() || port == nullptr) return why;
    command.number_given = true;
    return parse_port_number(host::to_text(*port), command.port.number);
}

std::string no_operands(const Words& words, Command&) {
    return words.empty() ? "" : "operands";
}

std::string one_name(const Words& words, Command& command) {
    return words.size() == 1 ? take_name(words[0], command.port.name) : "operands";
}

std::string any_names(const Words& words, Command& command) {
    return take_names(words, 0, command);
}

std::string some_names(const Words& words, Command& command) {
    return words.empty() ? "operands" : take_names(words, 0, command);
}

std::string port_and_printer(const Words& words, Command& command) {
    if (words.size() < 2 || words.size() > 3) return "operands";
    const std::string why = take_name(words[0], command.port.name);
    return why.empty() ? take_printer(words[1], words.size() == 3 ? &words[2] : nullptr, command) : why;
}

std::string new_port(const Words& words, Command& command) {
    const std::string why = port_and_printer(words, command);
    return why.empty() ? new_name_fault(command.port.name) : why;
}

// Names of ports, or a host and a number.
std::string names_or_printer(const Words& words, Command& command) {
    if (command.all) return no_operands(words, command);
    const bool is_number = words.size() == 2 && words[1].find_first_not_of("-0123456789") == std::string::npos;
    if (is_number) return take_printer(words[0], &words[1], command);
    return some_names(words, command);
}

std::string one_file(const Words& words, Command& command) {
    if (words.size() != 1) return "operands";
    command.file = words[0];
    return words[0].empty() ? "the file's name is empty" : "";
}

std::string maybe_one_file(const Words& words, Command& command) {
    return words.empty() ? "" : one_file(words, command);
}

std::string file_and_names(const Words& words, Command& command) {
    if (words.empty()) return "operands";
    command.file = words[0];
    return words[0].empty() ? "the file's name is empty" : take_names(words, 1, command);
}

std::string any_logs(const Words& words, Command& command) {
    command.report.logs = words;
    return "";
}

// Or "words -- WORD...", by which the scripts ask what can stand behind these.
std::string one_shell(const Words& words, Command& command) {
    if (words.empty() || (words.size() > 1 && words[0] != "words")) return "operands";
    command.topic = words[0];
    command.words.assign(words.begin() + 1, words.end());
    const bool known = words[0] == "bash" || words[0] == "powershell" || words[0] == "words";
    return known ? "" : "there is completion for bash and for powershell";
}

// -- The table -------------------------------------------------------------------------------------------------------

Options no_options(Command&) {
    return {};
}

// clang-format off
const std::vector<Verb> table = {
    {"list", "[NAME...]", "all ports, or these", Needs::reading, any_names,
     [](Command& command) { return Options{flag("--names", command.names_only), flag("--csv", command.csv)}; },
     list, R"(usage: tsport list [NAME...] [--names | --csv | --json]

The ports of this monitor, in its order, with their printers and the queues that print to them. NAME may hold
wildcards. --names prints the names alone, one in each line.

examples:
  tsport list
  tsport list "Room 1*" --json
  tsport list --servers servers.txt
  tsport list --store ports.txt
)"},
    {"show", "NAME", "one port",
     Needs::reading, one_name, no_options, show, R"(usage: tsport show NAME [--json]

Shows one port. Exit status 1 when there is no port of that name.

examples:
  tsport show Office
  tsport show "Room 12" --json
)"},
    {"add", "NAME HOST [PORT]", "a new port; PORT is 9100 if omitted",
     Needs::changing, new_port, no_options, add, R"(usage: tsport add NAME HOST [PORT]

Adds a port to the printer at HOST, a name or a numeric address. PORT is its TCP port, 9100 if omitted. Refused when the
spooler already has a port of that name, and for a name with a comma: Windows separates the ports of a printer by commas.

examples:
  tsport add Office 192.168.1.20
  tsport add "Room 12" printer12.example 9101
  tsport add Lab 2001:db8::20
)"},
    {"set", "NAME HOST [PORT]", "another printer for a port; PORT is kept if omitted",
     Needs::changing, port_and_printer, no_options, set, R"(usage: tsport set NAME HOST [PORT]

Changes the printer of a port, from its next document on. PORT is kept if omitted. Exit status 1 when there is no port of
that name.

examples:
  tsport set Office 192.168.1.21
  tsport set Office 192.168.1.21 9101
)"},
    {"delete", "NAME...", "removes ports", Needs::changing, some_names,
     [](Command& command) { return Options{flag("--force", command.force), flag("--dry-run", command.dry_run)}; },
     remove, R"(usage: tsport delete NAME... [--force] [--dry-run]

Removes ports; a document on its way to the printer is still finished. NAME may hold wildcards. Nothing is removed when
one of the names is unknown (exit status 1), or when a queue prints to one of the ports (3), unless --force is given.
--dry-run only shows what would be removed.

examples:
  tsport delete Office
  tsport delete "Room 1*" --dry-run
)"},
    {"test", "NAME... | HOST PORT | --all", "whether printers accept connections", Needs::reading, names_or_printer,
     [](Command& command) { return Options{flag("--all", command.all), number("--timeout", 1, 600, command.timeout_seconds)}; },
     test, R"(usage: tsport test NAME... [--timeout SECONDS]
       tsport test --all [--timeout SECONDS]
       tsport test HOST PORT [--timeout SECONDS]

Connects to the printers of ports, or to any other, and closes the connections again without sending anything. Says for
each whether it accepts connections, refuses them, does not answer within SECONDS (default 5), or has a name that cannot
be resolved here; and, for a name with several addresses, whether documents wait for one that does not answer first. Exit
status 0 when all accepted the connection, otherwise 1. With --server that server tries it itself, with its own time
limit, and says only whether it succeeded.

examples:
  tsport test Office
  tsport test --all --timeout 2
  tsport test 192.168.1.20 9100
)"},
    {"exists", "NAME", "whether the spooler has a port of that name, of whatever kind",
     Needs::reading, one_name, no_options, exists, R"(usage: tsport exists NAME

Tells whether any monitor of the spooler has a port of that name. Exit status 0 when one has, 1 when not.

examples:
  tsport exists Office
  tsport exists LPT1:
)"},
    {"export", "FILE [NAME...]", "writes ports into a file", Needs::reading, file_and_names,
     [](Command& command) { return Options{flag("--csv", command.csv), flag("--force", command.force)}; },
     export_ports, R"(usage: tsport export FILE [NAME...] [--csv] [--force]

Writes ports, all when no NAME is given, into a text file, one line per port: name, address, TCP port. "-" means
standard output. A file whose name ends in .csv, and every file with --csv, gets comma-separated values instead, with the
columns name, address and port. An existing file of ports keeps its comments, its order and its encoding; any other
existing file is only replaced with --force.

examples:
  tsport export ports.txt
  tsport export ports.csv "Room 1*"
  tsport export -
)"},
    {"import", "FILE", "adds and changes ports as the file says", Needs::changing, one_file,
     [](Command& command) { return Options{flag("--csv", command.csv), flag("--dry-run", command.dry_run)}; },
     import_ports, R"(usage: tsport import FILE [--csv] [--dry-run]

Adds the ports of the file that do not exist, changes those with another printer, and leaves all others alone. Nothing is
done when any line of the file is wrong, or when a name belongs to a port of another kind. --dry-run only shows what
would be done. "-" is standard input.

A line of the file is a name, an address and a TCP port. A text with blanks is written in quotes, where \" \\ \t \n \r
and \uXXXX are escapes. A # begins a comment. UTF-8 and, with a mark, UTF-16 are read. A file whose name
ends in .csv, and every file with --csv, is read as comma-separated values; its first line names the columns name,
address and port.

examples:
  tsport import ports.txt --dry-run
  tsport import ports.csv
  tsport export - --server \\OLD | tsport import - --server \\NEW
)"},
    {"diff", "FILE", "how the ports differ from the file", Needs::reading, one_file,
     [](Command& command) { return Options{flag("--csv", command.csv)}; },
     diff_ports, R"(usage: tsport diff FILE [--csv]

Shows how the ports differ from the file. Exit status 0 when they do not, 1 when they do.

examples:
  tsport diff ports.txt
  tsport diff ports.txt --json
)"},
    {"migrate", "", "moves queues from Standard TCP/IP ports to ports of this monitor, and back", Needs::changing,
     no_operands, migrate::options, migrate::migrate, R"(usage: tsport migrate [--apply | --undo FILE] [options]

Moves the queues of this server from Windows' Standard TCP/IP ports to ports of this monitor. Without --apply only the
plan is shown: a line for each queue, with its new port or why it is left alone. The Standard TCP/IP ports stay, so that
the way back is open; a port that prints by LPR, and a queue that prints to several ports or has jobs waiting is left
alone.

  --apply          carries the plan out, one queue after the other: the port is added, the queue is given it, all else
                   of the queue stays, and what the spooler says of it is read back. A queue whose change fails keeps the
                   port that it had. A second --apply only does what the first one did not.
  --undo FILE      puts back what the journal FILE tells, also after --apply was broken off
  --to-standard    the other way: from ports of this monitor to the Standard TCP/IP ports of the same printers, which are
                   added where there are none
  --only PATTERN   only queues or ports of that name, with wildcards
  --all            adds new ports for those without queues too
  --test           leaves alone what does not accept a connection now
  --with-jobs      moves queues with jobs waiting too: these jobs then print through the new port; one that is printing
                   may fail and has to be restarted
  --stop           ends at the first failure
  --name PATTERN   names for new ports, of the words {name}, {host} and {port} (default {name} (Tessaron), with
                   --to-standard IP_{host}); characters that no port may have become "_", and a number is added to a
                   name that is taken
  --journal FILE   where the steps are recorded, each before it begins (default tsport-migrate.journal); added to if it
                   is there

examples:
  tsport migrate
  tsport migrate --only "Branch 12*" --test --apply
  tsport migrate --undo tsport-migrate.journal
  tsport migrate --to-standard --json
)"},
    {"doctor", "", "why documents are not printed: checks everything that printing depends on",
     Needs::nothing, no_operands, doctor::options, doctor::examine, doctor_help},
    {"report", "[LOG...]", "what became of the documents, from the monitor's logs",
     Needs::nothing, any_logs, report_options, report_logs, report_help},
    {"watch", "[LOG]", "what the ports do now, from the monitor's log as it grows",
     Needs::nothing, maybe_one_file, watch_options, watch_log, watch_help},
    {"collect", "[DIR]", "a folder for support: versions, findings, ports, settings, the log; without secrets",
     Needs::nothing, maybe_one_file, collect_options, collect, collect_help},
    {"completion", "bash | powershell", "a script that completes command lines",
     Needs::nothing, one_shell, no_options, completion, R"(usage: tsport completion bash
       tsport completion powershell

Prints a script that lets the shell complete verbs, options and the names of ports.

examples:
  tsport completion bash > ~/.local/share/bash-completion/completions/tsport
  tsport completion powershell | Out-String | Invoke-Expression
)"},
};
// clang-format on

const char introduction[] =
    R"(tsport - manages "Tessaron TCP/IP Port" ports of this print server, and of others

usage: tsport [options] VERB ...

)";

const char options_and_statuses[] = R"(
options:
  --server \\NAME          asks that print server instead of this one; may be given several times
  --servers FILE           asks the servers that the file names, one in each line
  --store FILE             works on the ports in FILE (as export writes it) instead, with a monitor loaded into this
                           program
  --library PATH           the monitor for --store (default: beside this program, in the folder above, or the installed one)
  --wait SECONDS           how long to wait for another process that is changing the store (default 10)
  --json                   answers for scripts, errors too
  --version                the version
  -h, --help, /?           this text; after a verb, more about it
  --                       ends the options

Several servers are asked at once and answer in one table, with a row for each one that cannot be reached. NAME may
hold the wildcards * and ? where several ports can be named. Names have at most 64 characters and no backslash, addresses at most
128; letter case does not count in names. All verbs but test HOST PORT, exists and completion need an administrator.

Exit status: 0 done, 1 the port is not there or the printer not reachable, 2 wrong command line or file, 3 refused, or
a server or the store cannot be used. With --json the answer is one object on standard output:
  {"version": 1, "verb": "...", "results": [...], "warnings": [...], "errors": [{"error": "the text", "code": the Win32
  code or 0, "cause": "usage|file|no-port|in-use|exists|access|no-spooler|not-installed|store|refused"}, ...]}
)";

}  // namespace

const std::vector<Verb>& verbs() {
    return table;
}

const Verb* find_verb(const std::string& name) {
    const auto found =
        std::find_if(verbs().begin(), verbs().end(), [&](const Verb& verb) { return verb.name == name; });
    return found != verbs().end() ? &*found : nullptr;
}

Words verb_names() {
    Words names = {"help"};
    for (const Verb& verb : verbs()) names.emplace_back(verb.name);
    return names;
}

std::string general_help() {
    Rows rows;
    rows.push_back({"  help VERB", "more about a verb"});
    for (const Verb& verb : verbs()) {
        rows.push_back({std::string("  ") + verb.name + " " + verb.operands, verb.summary});
    }
    return introduction + in_columns(rows) + options_and_statuses;
}

}  // namespace tsport
