// The same helper, told the same, its output sent on: with nothing around it.
#include <algorithm>

#include "bench/plan.h"
#include "host/platform.h"

namespace bench {
namespace {

void write_file(const host::Text& path, const std::vector<char>& data, std::uint64_t size) {
    const HANDLE file =
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    require(file != INVALID_HANDLE_VALUE, "no file for the document");
    for (std::uint64_t done = 0; done < size; done += data.size()) {
        const auto piece = static_cast<DWORD>(std::min<std::uint64_t>(data.size(), size - done));
        DWORD written = 0;
        require(WriteFile(file, data.data(), piece, &written, nullptr) && written == piece, "no room for the document");
    }
    CloseHandle(file);
}

struct Helper {
    HANDLE input;   // the writing end of its standard input
    HANDLE output;  // the reading end of its standard output
};

Helper start_helper(const std::string& program, DWORD pipe_size) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    Helper helper{};
    HANDLE input = nullptr;
    HANDLE output = nullptr;
    require(CreatePipe(&helper.output, &output, &inherited, pipe_size) &&
                SetHandleInformation(helper.output, HANDLE_FLAG_INHERIT, 0) &&
                CreatePipe(&input, &helper.input, &inherited, pipe_size) &&
                SetHandleInformation(helper.input, HANDLE_FLAG_INHERIT, 0),
            "no pipe");
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input;
    startup.hStdOutput = output;
    startup.hStdError = output;
    PROCESS_INFORMATION process = {};
    require(CreateProcessW(host::windows_path(program).c_str(), nullptr, nullptr, nullptr, TRUE, CREATE_NO_WINDOW,
                           nullptr, nullptr, &startup, &process) != FALSE,
            "the helper cannot be started");
    for (const HANDLE handle : {input, output, process.hProcess, process.hThread}) CloseHandle(handle);
    return helper;
}

void tell(const Helper& helper, const std::string& line) {
    char answer[1024];
    DWORD count = 0;
    require(WriteFile(helper.input, line.data(), static_cast<DWORD>(line.size()), &count, nullptr) &&
                ReadFile(helper.output, answer, sizeof answer, &count, nullptr) && count >= 2 && answer[0] == 'O',
            "the helper does not answer");
}

void send_through_helper(std::uint16_t port, const std::string& program, const std::string& file,
                         const std::vector<char>& data, std::uint64_t size) {
    const host::Text path = host::windows_path(file);
    const Socket connection = connect_to(0, port);
    write_file(path, data, size);
    const Helper helper = start_helper(program, static_cast<DWORD>(data.size()));
    tell(helper, "printername=Printer 0\n");
    tell(helper, "spoolfile=" + host::to_utf8(path) + "\n");
    tell(helper, "jobid=7\n");
    tell(helper, "forceattr\n");
    std::vector<char> buffer(data.size());
    DWORD count = 0;
    while (ReadFile(helper.output, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) && count > 0) {
        send_all(connection, buffer.data(), count);
    }
    CloseHandle(helper.input);
    CloseHandle(helper.output);
    end_connection(connection);
    DeleteFileW(path.c_str());
}

}  // namespace

const OtherForwarding& other_forwarding() {
    static const OtherForwarding forwarding = {"file, helper, send", send_through_helper};
    return forwarding;
}

}  // namespace bench
