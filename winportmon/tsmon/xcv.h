// The configuration channel: the spooler opens a handle on the monitor, passes named commands through it and closes it.
// Administrators' tools and the port UI add, change, read, check and delete ports this way, at any time and on any of
// the spooler's threads.
#pragma once

#include "winportmon/tsmon/tsmon.h"

namespace tsmon {

// An open configuration handle; from the global heap, from XcvOpenPort to XcvClosePort.
struct XcvHandle {
    char signature[4];  // "CX"
    XcvHandle* next;
    WCHAR* object_name;  // the text below: the port, for commands about one
    ACCESS_MASK granted_access;
    uint32_t instance;          // of the monitor, by its number
    WCHAR object_name_text[1];  // the record is allocated with room for all of it
};

// Slots of the operation table. XcvOpenPort: FALSE, and a null handle, when memory runs out. XcvDataPort: the command's
// Win32 code; 87 for an unknown command and for unusable input, which is never read past its size; 6 for a handle that
// is closed or whose instance has been shut down. XcvClosePort: always TRUE, for any handle. Opening and closing take
// MonitorLock; so do commands that look at a port or change one.
BOOL WINAPI XcvOpenPort(HANDLE monitor, LPCWSTR object_name, ACCESS_MASK granted_access, HANDLE* xcv);
DWORD WINAPI XcvDataPort(HANDLE xcv, LPCWSTR command, LPBYTE input, DWORD input_size, LPBYTE output, DWORD output_size,
                         LPDWORD needed);
BOOL WINAPI XcvClosePort(HANDLE xcv);

}  // namespace tsmon
