// Programs that a test starts.
#pragma once

#include <string>

#include "winapi/winapi.h"

namespace test {

struct Ended {
    std::string output;  // of both streams, without carriage returns; "error N" when it did not start
    DWORD status = 0;
};
// Runs a command line; the program gets no input.
inline Ended run_child(std::basic_string<WCHAR> command) {
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE input = nullptr;   // the write end of its standard input
    HANDLE output = nullptr;  // the read end of its standard output
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_HIDE;
    CreatePipe(&startup.hStdInput, &input, &inherit, 0);
    CreatePipe(&output, &startup.hStdOutput, &inherit, 0);
    startup.hStdError = startup.hStdOutput;
    SetHandleInformation(input, HANDLE_FLAG_INHERIT, 0);
    SetHandleInformation(output, HANDLE_FLAG_INHERIT, 0);

    Ended ended;
    PROCESS_INFORMATION information{};
    const BOOL started =
        CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &information);
    if (!started) ended = {"error " + std::to_string(GetLastError()), GetLastError()};
    for (const HANDLE end : {startup.hStdInput, startup.hStdOutput, input}) CloseHandle(end);
    char buffer[4096];
    DWORD count = 0;
    while (ReadFile(output, buffer, sizeof buffer, &count, nullptr) && count > 0) ended.output.append(buffer, count);
    std::erase(ended.output, '\r');
    CloseHandle(output);
    if (started) {
        WaitForSingleObject(information.hProcess, INFINITE);
        GetExitCodeProcess(information.hProcess, &ended.status);
        CloseHandle(information.hThread);
        CloseHandle(information.hProcess);
    }
    return ended;
}

}  // namespace test
