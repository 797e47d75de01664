// A document whose attributes are forced, into a file, through a helper that copies it, to the printer; against the
// same helper, told the same, its output sent on, with nothing around it.
#include <filesystem>

#include "bench/bench.h"
#include "bench/plain.h"
#include "bench/print_server.h"
#include "host/platform.h"
#include "testbed/records.h"

namespace bench {
namespace {

// What brings the helper into play for the next document.
void force_next(const PrintServer& server) {
    require(testbed::write_force_attributes_records(server.folder, "Printer 0", PrintServer::kFirstJob),
            "the records of forced attributes cannot be written");
}

struct Helper {
    HANDLE input;   // the writing end of its standard input
    HANDLE output;  // the reading end of its standard output
};

Helper start_helper(const std::string& program, DWORD pipe_size) {
    SECURITY_ATTRIBUTES inherited = {};
    inherited.nLength = sizeof inherited;
    inherited.bInheritHandle = TRUE;
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
    startup.dwFlags = STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_HIDE;
    startup.hStdInput = input;
    startup.hStdOutput = output;
    startup.hStdError = output;
    PROCESS_INFORMATION process = {};
    host::Text command = host::windows_path(program);
    const BOOL started =
        CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process);
    require(started != FALSE, "the helper cannot be started: error " + std::to_string(GetLastError()));
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
    const SOCKET connection = connect_to(W("127.0.0.1"), host::to_text(std::to_string(port)));
    write_document(file, data, size);
    const Helper helper = start_helper(program, static_cast<DWORD>(data.size()));
    tell(helper, "printername=Printer 0\n");
    tell(helper, "spoolfile=" + host::to_utf8(host::windows_path(file)) + "\n");
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
    std::filesystem::remove(host::path_of(file));
}

}  // namespace

void forced_attributes(Bench& bench) {
    const std::uint64_t size = bench.scaled(256 * kMiB);
    const std::vector<char> data = buffer_of(kUsualWrite);
    PrintServer server(bench.receiver.port(), 1);
    server.start();
    const std::string helper = server.folder.base + "/ts-print-monitor.exe";
    std::filesystem::copy_file(host::executable_folder() + "/copy_helper.exe", helper);
    const spooler_sim::ClientScope client(W("client"));
    const Sample print = delivering(bench, size, 1, timed([&] { server.print(0, data, size, kUsualWrite); }));
    const Sample ours = [&] {
        force_next(server);
        const Cost cost = print();
        require(std::filesystem::is_empty(server.folder.spool("forceattr")), "the attributes were not forced");
        return cost;
    };
    const std::string file = server.folder.base + "/document";
    const Sample theirs = delivering(
        bench, size, 1, timed([&] { send_through_helper(bench.receiver.port(), helper, file, data, size); }));
    compare(bench, "forced attributes, " + host::size_to_text(size), "file, helper, send", 1.25, ours, theirs);
}

}  // namespace bench
