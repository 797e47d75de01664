// The stored ports, in the spooler's monitor registry: "Ports" \ port name \ "HostName" and "PortNumber". Reached only
// through the callbacks of MONITORINIT, as the spooler itself; failures are logged here.
#pragma once

#include "winportmon/tsmon/tsmon.h"

namespace tsmon {

// Receives each stored port in a record that the walk uses again: what is kept is copied.
using PortRegCallback = void (*)(MonitorContext* context, const PortConfig* config);

// TRUE when both values were written; FALSE leaves what was already written in place, and the status that failed as
// the thread's last error. Adding creates the port's key, updating needs it.
BOOL AddPortInRegistry(MONITORINIT* init, const PortConfig* config);
BOOL UpdatePortInRegistry(MONITORINIT* init, const PortConfig* config);

// Stops at the first missing part; a null name does nothing.
void DeletePortFromRegistry(MONITORINIT* init, const WCHAR* name);

// In the order of the registry. A port that cannot be read is skipped.
void ForAllPortRegEntries(MonitorContext* context, PortRegCallback callback);

}  // namespace tsmon
