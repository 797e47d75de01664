// Administrators who work on the ports through the configuration channel while these print.
#pragma once

#include <atomic>
#include <deque>

#include "tests/soak/port.h"

namespace soak {

// One administrator, until `stop`. Several may work at once; all ports that print are there when the last one has gone,
// and no others.
void administrate(Server& server, std::deque<Port>& ports, std::uint64_t seed, const std::atomic<bool>& stop);

}  // namespace soak
