// The monitor's commands. All return their Win32 code.
#pragma once

#include "tsport/spooler.h"

namespace tsport {

// The names of the monitor's ports, in its order.
DWORD list_names(const Spooler& spooler, std::vector<Text>& names);
DWORD read_port(const Spooler& spooler, const Text& name, Port& port);
// These ports, in that order; a port that was deleted meanwhile is left out.
DWORD read_ports(const Spooler& spooler, const std::vector<Text>& names, std::vector<Port>& ports);
DWORD add_port(const Spooler& spooler, const Port& port);
DWORD set_port(const Spooler& spooler, const Port& port);
DWORD delete_port(const Spooler& spooler, const Text& name);
// Whether any monitor of the spooler has a port of that name.
DWORD ask_whether_exists(const Spooler& spooler, const Text& name, bool& exists);
// Whether the printer accepts a connection from the server.
DWORD ask_whether_reachable(const Spooler& spooler, const Port& port, bool& reachable);

}  // namespace tsport
