// Administrators who work on the ports through the configuration channel while these print.
#pragma once

#include <atomic>
#include <deque>

#include "tests/soak/port.h"

namespace soak {

// Adds the port; false, and counted as wrong, when that is refused.
bool add_port(Server& server, const host::Text& name, std::uint16_t number);
// One administrator, until `stop`. `idle` is a printer that nobody prints on. Several may work at once; all ports that
// print are there when the last one has gone, and no others.
void administrate(Server& server, std::deque<Port>& ports, const peer::TcpPrinter& idle, std::uint64_t seed,
                  const std::atomic<bool>& stop);

}  // namespace soak
