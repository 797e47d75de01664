// How a library comes to the simulation although it was linked with the system's spooler.
#pragma once

#include "winapi/winapi.h"

namespace spooler_sim {

// From here on the module's calls of the spooler's functions lead to the simulation, and so does EnumPortsW when it
// looks that up in SPOOLSS.DLL at run time. Other modules are not concerned. Doing it twice does no harm; false, with
// the last error, when the module's import table cannot be changed.
bool redirect_calls_of(HMODULE module);

}  // namespace spooler_sim
