#include "tsport/help.h"

#include "tsport/output.h"
#include "tsport/verb.h"

namespace tsport {
namespace {

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
  --library PATH           the monitor for --store (default: beside this program or in the folder above)
  --wait SECONDS           how long to wait for another process that is changing the store (default 10)
  --json                   answers for scripts, errors too
  --version                the version
  -h, --help, /?           this text; after a verb, more about it
  --                       ends the options

Several servers are asked at once and answer in one table, with a row for each one that cannot be reached. NAME may
hold the wildcards * and ? where several ports can be named. Names have at most 64 characters and no backslash, addresses at most
128; letter case does not count in names. All verbs but test HOST PORT, exists and completion need an administrator.

Exit status: 0 done, 1 the port is not there or the printer not reachable, 2 wrong command line or file, 3 refused, or
a server or the store cannot be used. With --json an error is one object on standard output:
  {"error": "the text", "code": the Win32 code or 0, "cause": "usage|file|no-port|in-use|exists|access|no-spooler|
  not-installed|store|refused"}
)";

}  // namespace

std::string general_help() {
    Rows rows;
    rows.push_back({"  help VERB", "more about a verb"});
    for (const Verb& verb : verbs()) {
        rows.push_back({std::string("  ") + verb.name + " " + verb.operands, verb.summary});
    }
    return introduction + in_columns(rows) + options_and_statuses;
}

const char list_help[] = R"(usage: tsport list [NAME...] [--names | --csv | --json]

The ports of this monitor, in its order, with their printers and the queues that print to them. NAME may hold
wildcards. --names prints the names alone, one in each line.

examples:
  tsport list
  tsport list "Room 1*" --json
  tsport list --servers servers.txt
  tsport list --store ports.txt
)";

const char show_help[] = R"(usage: tsport show NAME [--json]

Shows one port. Exit status 1 when there is no port of that name.

examples:
  tsport show Office
  tsport show "Room 12" --json
)";

const char add_help[] = R"(usage: tsport add NAME HOST [PORT]

Adds a port to the printer at HOST, a name or a numeric address. PORT is its TCP port, 9100 if omitted. Refused when the
spooler already has a port of that name, and for a name with a comma: Windows separates the ports of a printer by commas.

examples:
  tsport add Office 192.168.1.20
  tsport add "Room 12" printer12.example 9101
  tsport add Lab 2001:db8::20
)";

const char set_help[] = R"(usage: tsport set NAME HOST [PORT]

Changes the printer of a port, from its next document on. PORT is kept if omitted. Exit status 1 when there is no port of
that name.

examples:
  tsport set Office 192.168.1.21
  tsport set Office 192.168.1.21 9101
)";

const char delete_help[] = R"(usage: tsport delete NAME... [--force] [--dry-run]

Removes ports; a document on its way to the printer is still finished. NAME may hold wildcards. Nothing is removed when
one of the names is unknown (exit status 1), or when a queue prints to one of the ports (3), unless --force is given.
--dry-run only shows what would be removed.

examples:
  tsport delete Office
  tsport delete "Room 1*" --dry-run
)";

const char test_help[] = R"(usage: tsport test NAME... [--timeout SECONDS]
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
)";

const char exists_help[] = R"(usage: tsport exists NAME

Tells whether any monitor of the spooler has a port of that name. Exit status 0 when one has, 1 when not.

examples:
  tsport exists Office
  tsport exists LPT1:
)";

const char export_help[] = R"(usage: tsport export FILE [NAME...] [--csv] [--force]

Writes ports, all when no NAME is given, into a text file, one line per port: name, address, TCP port. "-" means
standard output. A file whose name ends in .csv, and every file with --csv, gets comma-separated values instead, with the
columns name, address and port. An existing file of ports keeps its comments, its order and its encoding; any other
existing file is only replaced with --force.

examples:
  tsport export ports.txt
  tsport export ports.csv "Room 1*"
  tsport export -
)";

const char import_help[] = R"(usage: tsport import FILE [--csv] [--dry-run]

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
)";

const char diff_help[] = R"(usage: tsport diff FILE [--csv]

Shows how the ports differ from the file. Exit status 0 when they do not, 1 when they do.

examples:
  tsport diff ports.txt
  tsport diff ports.txt --json
)";

const char completion_help[] = R"(usage: tsport completion bash
       tsport completion powershell

Prints a script that lets the shell complete verbs, options and the names of ports.

examples:
  tsport completion bash > ~/.local/share/bash-completion/completions/tsport
  tsport completion powershell | Out-String | Invoke-Expression
)";

}  // namespace tsport
