// The port list, and the spooler's calls on it.
#pragma once

#include "winportmon/tsmon/tsmon.h"

namespace tsmon {

// Appends a port with a copy of the configuration; null when memory runs out. Takes MonitorLock.
PortEntry* CreatePortEntry(MonitorContext* context, const PortConfig* config);

// The first port of that name, letter case ignored; null when there is none, and for a null name. The caller holds
// MonitorLock where the list may change meanwhile.
PortEntry* FindPortEntry(MonitorContext* context, const WCHAR* name);

// Unlinks the first port of that name, whose connection and printer handle are not touched; FALSE, and a null
// *deleted, when there is none. The caller holds MonitorLock and, once it holds no lock any more, passes *deleted to
// ReleasePort.
BOOL DeletePortEntry(MonitorContext* context, const WCHAR* name, PortEntry** deleted);

// Gives back one hold on a port. A deleted port goes with its last hold: what a document of it has left open is closed
// first, which may wait 30 seconds for the printer. Any other value, also one whose port is gone, does nothing. The
// caller holds no lock.
void ReleasePort(HANDLE port);

// Takes the port's configuration over for the document that starts. A port that was deleted while the spooler held it
// open takes that of the port of its name, if there is one again. The caller holds MonitorLock.
void CopyConfigForDocument(PortEntry* port);

// Frees all ports of an instance that ends, those that were deleted but are still open too. What a document of theirs
// holds is not released.
void FreePorts(MonitorContext* context);

// Slots of the operation table. EnumPorts fails with 122 (and the size needed) for a short buffer and with 124 for a
// level other than 1 and 2; OpenPort with 87 for a null name, and without a code for an unknown one. ClosePort takes
// any handle, as ReleasePort does.
BOOL WINAPI EnumPorts(HANDLE monitor, LPWSTR server, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed,
                      LPDWORD returned);
BOOL WINAPI OpenPort(HANDLE monitor, LPWSTR name, HANDLE* port);
BOOL WINAPI ClosePort(HANDLE port);

// Whether any monitor of the spooler has a port of that name; TRUE also when the spooler's answer is unusable. *error
// is 0, or, with FALSE, why the spooler could not be asked.
BOOL SpoolerPortExists(const WCHAR* name, DWORD* error);

// SPOOLSS.DLL from the system directory; null when it cannot be loaded.
HMODULE LoadSpoolerLibrary();

}  // namespace tsmon
