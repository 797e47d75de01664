#include "tests/support/child_process.h"

#include <algorithm>
#include <array>

namespace test {
namespace {

void close_and_clear(HANDLE& handle) {
    if (handle != nullptr) CloseHandle(handle);
    handle = nullptr;
}

}  // namespace

WideString child_command(const WideString& arguments) {
    const std::string path = TEST_CHILD;
    WideString command(path.begin(), path.end());
    std::replace(command.begin(), command.end(), W('/'), W('\\'));
    return command + W(" ") + arguments;
}

Child start_child(WideString command) {
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    Child child;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_HIDE;
    CreatePipe(&startup.hStdInput, &child.input, &inherit, 0);
    CreatePipe(&child.output, &startup.hStdOutput, &inherit, 0);
    startup.hStdError = startup.hStdOutput;
    SetHandleInformation(child.input, HANDLE_FLAG_INHERIT, 0);
    SetHandleInformation(child.output, HANDLE_FLAG_INHERIT, 0);

    PROCESS_INFORMATION information{};
    if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &information)) {
        child.process = information.hProcess;
        CloseHandle(information.hThread);
    } else {
        child.error = GetLastError();
    }
    CloseHandle(startup.hStdInput);
    CloseHandle(startup.hStdOutput);
    if (child.error != 0) close_child(child);
    return child;
}

void close_child(Child& child) {
    for (HANDLE* handle : {&child.process, &child.input, &child.output}) close_and_clear(*handle);
}

bool write_text(HANDLE file, const std::string& text) {
    DWORD count = 0;
    return WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &count, nullptr) && count == text.size();
}

std::string read_to_end(HANDLE file, DWORD& error) {
    std::string text;
    std::array<char, 4096> buffer{};
    DWORD count = 0;
    while (ReadFile(file, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) && count > 0) {
        text.append(buffer.data(), count);
    }
    error = GetLastError();
    return text;
}

Ended run_child(const WideString& command) {
    Child child = start_child(command);
    if (child.error != 0) return {"error " + std::to_string(child.error), child.error};
    close_and_clear(child.input);
    DWORD error = 0;
    Ended ended{read_to_end(child.output, error), 0};
    std::erase(ended.output, '\r');
    WaitForSingleObject(child.process, INFINITE);
    GetExitCodeProcess(child.process, &ended.status);
    close_child(child);
    return ended;
}

}  // namespace test
