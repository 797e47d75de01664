// Ports as their monitors store them in the registry of this machine, whether the spooler knows them or not: Windows'
// own Standard TCP/IP ports, and those of this monitor.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tsport/ports/port.h"

namespace tsport::migrate {

enum class Monitor { own, standard };

struct StoredPort {
    enum class State { whole, in_part, unreadable };  // one in part is no port to its monitor either

    Port port;
    std::string reason;  // why no port of the other monitor can take its place; empty: one can
    State state = State::whole;
};

// The Win32 code; a machine without that monitor has no such ports.
DWORD read_ports(Monitor monitor, std::vector<StoredPort>& ports);
// None when nothing is stored under that name; ERROR_READ_FAULT for one that is unreadable.
DWORD read_port(Monitor monitor, const Text& name, std::optional<StoredPort>& port);
// Deletes what is stored under that name, if anything is.
DWORD delete_stored(Monitor monitor, const Text& name);

}  // namespace tsport::migrate
