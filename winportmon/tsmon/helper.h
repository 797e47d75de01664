// The helper program: finding, starting and releasing it.
#pragma once

#include "common/log.h"
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

// -- Conversations ---------------------------------------------------------------------------------------------------

// A started helper and the pipes to it; each handle null when it is not held. The child's own ends are only held while
// it is being started.
struct HelperHandles {
    HANDLE std_out_rd;
    HANDLE std_out_wr;  // the child's
    HANDLE std_in_rd;   // the child's
    HANDLE std_in_wr;
    HANDLE process;
    HANDLE thread;
};

// The error lines of one kind of conversation.
struct HelperLines {
    LogText create_std_out;
    LogText keep_std_out;  // our end of the pipe could not be made non-inheritable
    LogText create_std_in;
    LogText keep_std_in;
    LogText create_process;
    LogText close_std_out_rd;
    LogText close_std_out_wr;
    LogText close_std_in_rd;
    LogText close_std_in_wr;
    LogText close_process;
    LogText close_thread;
    bool omit_error_text;  // of the line about the child's input end, closed after its start
};

// Makes two pipes of `pipe_size` bytes (0: the system's default) and starts the helper on them. FALSE leaves what was
// made so far in *handles, for CloseHelper. Takes MonitorLock from the first pipe to the close of the child's ends, so
// that no other helper that is being started inherits them.
BOOL StartHelper(MonitorContext* context, DWORD pipe_size, const HelperLines& lines, HelperHandles* handles);

// Closes what is still held, in the order of the fields, and forgets it. Does not wait for the helper, which exits at
// the end of its input.
void CloseHelper(HelperHandles* handles, const HelperLines& lines);

// Closes a handle that may be null and forgets it; a failure is logged with the line.
void CloseHelperHandle(HANDLE* handle, const LogText& failure);

// The bytes of a path buffer of 260 characters, at debug level.
void LogHexDump(const char* label, const WCHAR (&buffer)[MAX_PATH]);

}  // namespace tsmon
