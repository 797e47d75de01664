// The helper program: where it is, and how it is started.
#pragma once

#include "winportmon/tsmon/tsmon.h"

namespace tsmon {

// The Print Provider's install directory, UTF-8 and ending in a backslash, into `out` of `size` (260) bytes. FALSE, and
// `out` untouched, when the registry does not name it.
BOOL GetInstallPath(char* out, size_t size);

// A string value of the registry into `out` of `size` bytes, always terminated. FALSE when it cannot be read.
BOOL ReadInstallPathValue(WCHAR* out, DWORD size, HKEY root, const WCHAR* subkey, const WCHAR* value_name);

// Fills the helper command path from the install directory. The caller holds MonitorLock once the monitor runs.
void BuildHelperCommandPath(MonitorContext* context, const char* install_path);

// TRUE when the helper is where its path says, after looking its directory up once more if need be; `dump` also writes
// the path's bytes to the log. Takes MonitorLock.
BOOL CheckHelperCommandPath(MonitorContext* context, BOOL dump);

// Starts the helper, hidden, with these standard handles (`std_out` is its standard error too); every inheritable
// handle of the process goes to it. On TRUE the caller owns *process and *thread. Takes MonitorLock.
BOOL CreateChildProcess(MonitorContext* context, HANDLE std_out, HANDLE std_in, HANDLE* process, HANDLE* thread);

// The bytes of a path buffer of 260 characters, at debug level.
void LogHexDump(const char* label, const WCHAR (&buffer)[MAX_PATH]);

}  // namespace tsmon
