// Internal to the simulation: the configuration channel of monitors.
#pragma once

#include "winapi/spooler_sim/spooler_sim.h"

namespace spooler_sim {

// `name`: "[\\SERVER\],XcvMonitor NAME" or "[\\SERVER\],XcvPort NAME".
DWORD open_channel(const Text& name, ACCESS_MASK access, HANDLE* channel);
// False when it is no such name.
bool close_channel(HANDLE channel);
// The server whose monitor the calling thread is in; "" outside of commands.
Text calling_server();

}  // namespace spooler_sim
