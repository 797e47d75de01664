// Redirects a library that is linked with the system's spooler to the simulation.
#pragma once

#include "winapi/winapi.h"

namespace spooler_sim {

// From here on the module's calls of the spooler's functions lead to the simulation, and so does EnumPortsW when it
// looks that up in SPOOLSS.DLL at run time. Other modules are unaffected. A second call is harmless; false, with
// the last error, when the module's import table cannot be changed.
bool redirect_calls_of(HMODULE module);
// They lead to the system's again.
bool restore_calls_of(HMODULE module);

}  // namespace spooler_sim
