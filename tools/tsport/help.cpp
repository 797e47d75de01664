#include "tools/tsport/help.h"

namespace tsport {

const char general_help[] =
    R"(tsport - adds, changes, checks and removes "Tessaron TCP/IP Port" ports of this print server

usage: tsport [options] VERB ...

  list                     all ports
  show NAME                one port
  add NAME HOST [PORT]     a new port; PORT is 9100 when left out
  set NAME HOST [PORT]     another printer for a port; PORT stays as it is when left out
  delete NAME              removes a port
  test NAME                whether the port's printer takes a connection
  test HOST PORT           whether that printer takes a connection
  exists NAME              whether the spooler has a port of that name, of whatever kind
  export FILE              writes all ports into a text file
  import FILE [--dry-run]  adds and changes ports as the file says
  diff FILE                how the ports differ from the file
  report LOG...            what became of the documents, from the monitor's logs

options:
  --json                   answers for scripts
  --store FILE             works on the ports in FILE (as export writes it) instead of this server's, with a monitor
                           loaded into this program
  --library PATH           the monitor for --store (default: beside this program or in the folder above)
  --help                   this text; after a verb, more about it
  --                       what follows is no option

Names have at most 64 characters and no backslash, addresses at most 128; letter case does not count in names. All verbs
but test HOST PORT and exists need an administrator.

Exit status: 0 done, 1 the port is not there or the printer not reachable, 2 the line or the file is wrong, 3 refused.
)";

const char list_help[] = R"(usage: tsport list [--json]

All ports of this monitor, in its order, with the printers they lead to.

examples:
  tsport list
  tsport list --json
  tsport list --store ports.txt
)";

const char show_help[] = R"(usage: tsport show NAME [--json]

One port. Exit status 1 when there is none of that name.

examples:
  tsport show Office
  tsport show "Room 12, left" --json
)";

const char add_help[] = R"(usage: tsport add NAME HOST [PORT]

Adds a port to the printer at HOST, a name or a numeric address. PORT is its TCP port, 9100 when left out. Refused when
the spooler has a port of that name already.

examples:
  tsport add Office 192.168.1.20
  tsport add "Room 12" printer12.example 9101
  tsport add Lab 2001:db8::20
)";

const char set_help[] = R"(usage: tsport set NAME HOST [PORT]

Lets a port lead to another printer, from its next document on. PORT stays as it is when left out. Exit status 1 when
there is no port of that name.

examples:
  tsport set Office 192.168.1.21
  tsport set Office 192.168.1.21 9101
)";

const char delete_help[] = R"(usage: tsport delete NAME

Removes a port; a document on its way to the printer is still finished. Exit status 1 when there is no port of that name.

examples:
  tsport delete Office
  tsport delete "Room 12"
)";

const char test_help[] = R"(usage: tsport test NAME
       tsport test HOST PORT

Connects to a port's printer, or to any other, and closes the connection again. Exit status 0 when the printer took it,
1 when not.

examples:
  tsport test Office
  tsport test 192.168.1.20 9100
)";

const char exists_help[] = R"(usage: tsport exists NAME

Whether any monitor of the spooler has a port of that name. Exit status 0 when one has, 1 when not.

examples:
  tsport exists Office
  tsport exists LPT1:
)";

const char export_help[] = R"(usage: tsport export FILE

Writes all ports into a text file, a line a port: name, address, TCP port. An existing file is replaced.

examples:
  tsport export ports.txt
)";

const char import_help[] = R"(usage: tsport import FILE [--dry-run]

Adds the ports of the file that are not there, changes those that lead elsewhere, and leaves all others alone. Nothing is
done when any line of the file is wrong, or when a name belongs to a port of another kind. --dry-run only shows what
would be done.

A line of the file is a name, an address and a TCP port. What has blanks in it is put in quotes, where \" \\ \t \n \r and
\uXXXX can stand for characters. What follows a # is a comment.

examples:
  tsport import ports.txt --dry-run
  tsport import ports.txt
)";

const char diff_help[] = R"(usage: tsport diff FILE

How the ports differ from the file. Exit status 0 when they do not, 1 when they do.

examples:
  tsport diff ports.txt
  tsport diff ports.txt --json
)";

}  // namespace tsport
