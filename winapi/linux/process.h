// Child processes and anonymous pipes.
#pragma once

#include "winapi/linux/types.h"

#define HANDLE_FLAG_INHERIT 0x1u
#define STARTF_USESHOWWINDOW 0x1u
#define STARTF_USESTDHANDLES 0x100u
#define SW_HIDE 0
#define STILL_ACTIVE 259u

// As much of it as the product fills in.
struct STARTUPINFOW {
    DWORD cb;
    DWORD dwFlags;
    WORD wShowWindow;
    HANDLE hStdInput;
    HANDLE hStdOutput;
    HANDLE hStdError;
};

struct PROCESS_INFORMATION {
    HANDLE hProcess;
    HANDLE hThread;
    DWORD dwProcessId;
    DWORD dwThreadId;
};

// A pipe of at least the given size (0: the system's default). Reading from it when the last writer has gone
// gives ERROR_BROKEN_PIPE, writing to it when the last reader has gone ERROR_NO_DATA.
BOOL CreatePipe(HANDLE* read_end, HANDLE* write_end, SECURITY_ATTRIBUTES* security, DWORD size);
BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD size, DWORD* count, void* overlapped);
BOOL WriteFile(HANDLE file, LPCVOID data, DWORD size, DWORD* count, void* overlapped);
BOOL SetHandleInformation(HANDLE handle, DWORD mask, DWORD flags);

// Only with no application name: the program is found from an unquoted command line as Windows finds it, blank by
// blank, each time as it stands and with ".exe"; a name without a folder is looked up in the current directory alone.
// The startup flags are STARTF_USESTDHANDLES and STARTF_USESHOWWINDOW; security attributes, an environment, a directory
// and creation flags are refused (87). With inherit_handles every inheritable handle of the process stays open in the
// child.
BOOL CreateProcessW(LPCWSTR application, LPWSTR command_line, SECURITY_ATTRIBUTES* process_security,
                    SECURITY_ATTRIBUTES* thread_security, BOOL inherit_handles, DWORD flags, LPVOID environment,
                    LPCWSTR directory, STARTUPINFOW* startup, PROCESS_INFORMATION* information);
#define INFINITE 0xFFFFFFFFu
#define WAIT_OBJECT_0 0u
#define WAIT_FAILED 0xFFFFFFFFu
// For a process, and only without a time-out.
DWORD WaitForSingleObject(HANDLE handle, DWORD timeout_ms);
BOOL GetExitCodeProcess(HANDLE process, DWORD* code);
DWORD GetCurrentThreadId();

BOOL GetComputerNameW(LPWSTR buffer, DWORD* size);
BOOL GetUserNameW(LPWSTR buffer, DWORD* size);
