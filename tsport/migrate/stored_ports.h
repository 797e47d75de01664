// Ports as their monitors store them in the registry of this machine, whether the spooler knows them or not: Windows'
// own Standard TCP/IP ports, and those of this monitor.
#pragma once

#include <string>
#include <vector>

#include "tsport/ports/port.h"

namespace tsport::migrate {

struct StandardPort {
    Port port;
    std::string reason;  // why no port of this monitor can take its place; empty: one can
};

// The Win32 code; a machine without that monitor has no such ports.
DWORD read_standard_ports(std::vector<StandardPort>& ports);
// One that is there in part is left out: it is no port to the monitor either.
DWORD read_own_ports(std::vector<Port>& ports);

}  // namespace tsport::migrate
