// The monitor's commands. All return their Win32 code.
#pragma once

#include "tools/tsport/channel.h"

namespace tsport {

DWORD read_port(Channel& channel, const Text& name, Port& port);
// All of the monitor's ports, in its order; a port that went away meanwhile is left out.
DWORD read_ports(Channel& channel, std::vector<Port>& ports);
DWORD add_port(Channel& channel, const Port& port);
DWORD set_port(Channel& channel, const Port& port);
DWORD delete_port(Channel& channel, const Text& name);
// Whether any monitor of the spooler has a port of that name.
DWORD ask_whether_exists(Channel& channel, const Text& name, bool& exists);
// Whether the printer takes a connection.
DWORD ask_whether_reachable(Channel& channel, const Port& port, bool& reachable);

}  // namespace tsport
