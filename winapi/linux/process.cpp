// Child processes, anonymous pipes, and the names of the computer and the user.
#include "winapi/linux/process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <future>
#include <thread>

#include "winapi/linux/fault.h"
#include "winapi/linux/file_internal.h"

namespace {

using winapi::fail;
using winapi::finish;
using winapi::fault::Point;

Point create_pipe_point("CreatePipe");
Point read_point("ReadFile");
Point write_point("WriteFile");
Point set_information_point("SetHandleInformation");
Point create_process_point("CreateProcessW");
Point wait_point("WaitForSingleObject");
Point exit_code_point("GetExitCodeProcess");
Point computer_name_point("GetComputerNameW");
Point user_name_point("GetUserNameW");

struct PipeEnd final : winapi::Object {
    explicit PipeEnd(int descriptor) : fd(descriptor) {}
    DWORD close() override {
        ::close(fd);
        return 0;
    }
    const char* kind() const override { return "pipe end"; }
    int descriptor() const override { return fd; }

    const int fd;
};

HANDLE insert_pipe_end(int fd, bool inheritable) {
    auto end = std::make_shared<PipeEnd>(fd);
    end->inheritable = inheritable;
    return winapi::insert_handle(std::move(end));
}

// A larger pipe is optional: without the right to it the default size is used.
void enlarge_pipe(int fd, DWORD size) {
    const int now = fcntl(fd, F_GETPIPE_SZ);
    if (now >= 0 && static_cast<DWORD>(now) < size) {
        fcntl(fd, F_SETPIPE_SZ, static_cast<int>(std::min<DWORD>(size, 0x40000000)));
    }
}

}  // namespace

BOOL CreatePipe(HANDLE* read_end, HANDLE* write_end, SECURITY_ATTRIBUTES* security, DWORD size) {
    if (create_pipe_point.fails()) return fail(ERROR_TOO_MANY_OPEN_FILES);
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return fail(winapi::error_from_errno(errno));
    enlarge_pipe(ends[1], size);
    const bool inheritable = security != nullptr && security->bInheritHandle != FALSE;
    *read_end = insert_pipe_end(ends[0], inheritable);
    *write_end = insert_pipe_end(ends[1], inheritable);
    return TRUE;
}

BOOL SetHandleInformation(HANDLE handle, DWORD mask, DWORD flags) {
    if (set_information_point.fails()) return fail(ERROR_INVALID_HANDLE);
    if (mask != HANDLE_FLAG_INHERIT) return fail(ERROR_INVALID_PARAMETER);
    return finish(winapi::set_inheritable(handle, flags != 0) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE);
}

BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD size, DWORD* count, void* overlapped) {
    *count = 0;
    if (read_point.fails()) return fail(ERROR_READ_FAULT);
    const auto end = winapi::find_handle_as<PipeEnd>(file);
    if (end == nullptr || overlapped != nullptr) return fail(ERROR_INVALID_HANDLE);
    const ssize_t transferred = ::read(end->fd, buffer, Point::shortened(size));
    if (transferred < 0) return fail(winapi::error_from_errno(errno));
    *count = static_cast<DWORD>(transferred);
    return transferred > 0 ? TRUE : fail(ERROR_BROKEN_PIPE);
}

BOOL WriteFile(HANDLE file, LPCVOID data, DWORD size, DWORD* count, void* overlapped) {
    *count = 0;
    if (write_point.fails()) return fail(ERROR_DISK_FULL);
    const auto end = winapi::find_handle_as<PipeEnd>(file);
    if (end == nullptr || overlapped != nullptr) return fail(ERROR_INVALID_HANDLE);
    // Without a reader the process lives on. Its own handling of the signal stays as it is: child processes inherit it.
    sigset_t pipe_signal;
    sigset_t before;
    sigemptyset(&pipe_signal);
    sigaddset(&pipe_signal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_signal, &before);
    size_t transferred = 0;
    const DWORD error = winapi::write_all(end->fd, data, Point::shortened(size), transferred);
    const timespec now{};
    if (error == ERROR_NO_DATA) sigtimedwait(&pipe_signal, nullptr, &now);  // it waits on this thread
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    *count = static_cast<DWORD>(transferred);
    return finish(error);
}

// -- command lines ----------------------------------------------------------------------------------------------------

namespace {

// 0 with the path of this machine when the name, or one without a period with ".exe" behind it, is a file.
DWORD find_file(const std::u16string& name, std::string& path) {
    for (const std::u16string& tried : {name, name + u".exe"}) {
        if (const DWORD error = winapi::resolve_path(tried.c_str(), path)) return error;
        if (std::filesystem::is_regular_file(path)) return ERROR_SUCCESS;
        if (name.find(u'.', name.find_last_of(u"\\/") + 1) != name.npos) break;  // npos + 1 is 0
    }
    return ERROR_FILE_NOT_FOUND;
}

// Finds the program of an unquoted command line and the place behind its name. A name may hold blanks: it is tried up
// to each of them, the shortest first. When nothing is found the first attempt's error counts.
DWORD find_program(const std::u16string& line, std::string& path, size_t& end) {
    DWORD first_error = ERROR_SUCCESS;
    for (end = 0; end < line.size(); ++end) {
        end = std::min(line.find_first_of(u" \t", end), line.size());
        const DWORD error = find_file(line.substr(0, end), path);
        if (error == ERROR_SUCCESS) return error;
        if (first_error == ERROR_SUCCESS) first_error = error;
    }
    return first_error;
}

std::vector<std::string> split_arguments(const std::string& program, const std::u16string& line, size_t at) {
    std::vector<std::string> arguments{program};
    while (at < line.size()) {
        const size_t end = std::min(line.find_first_of(u" \t", at), line.size());
        if (end > at) arguments.push_back(winapi::to_utf8(line.substr(at, end - at).c_str()));
        at = end + 1;
    }
    return arguments;
}

}  // namespace

// -- starting a child -------------------------------------------------------------------------------------------------

namespace {

int descriptor_of(HANDLE handle) {
    const auto object = handle != nullptr ? winapi::find_handle(handle) : nullptr;
    return object != nullptr ? object->descriptor() : -1;
}

bool contains(const std::vector<int>& descriptors, int fd) {
    return std::find(descriptors.begin(), descriptors.end(), fd) != descriptors.end();
}

// A standard handle that does not reach the child, for want of inheritance say, is the null device there. One that does
// has its standard number there and no other, so that the child closes it when it closes that.
void give_handles(posix_spawn_file_actions_t& child, const std::vector<int>& inherited,
                  const std::vector<int>& standard) {
    for (int target = 0; target < 3; ++target) {
        const int fd = standard[static_cast<size_t>(target)];
        if (contains(inherited, fd)) {
            posix_spawn_file_actions_adddup2(&child, fd, target);
        } else {
            posix_spawn_file_actions_addopen(&child, target, "/dev/null", O_RDWR, 0);
        }
    }
    for (const int fd : inherited) {
        // The same number keeps it open, although it is close-on-exec here.
        if (!contains(standard, fd)) posix_spawn_file_actions_adddup2(&child, fd, fd);
    }
}

// What the child inherits stays open until it has it: the number of a handle that another thread closes could be given
// to something else meanwhile, which the child would keep open.
DWORD spawn(std::vector<std::string> arguments, bool inherit, const STARTUPINFOW& startup, pid_t& pid) {
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    const std::vector<int> standard{descriptor_of(startup.hStdInput), descriptor_of(startup.hStdOutput),
                                    descriptor_of(startup.hStdError)};
    winapi::Inheritance inheritance;
    if (inherit) inheritance = winapi::inheritable_descriptors();
    posix_spawn_file_actions_t child;
    posix_spawn_file_actions_init(&child);
    give_handles(child, inheritance.descriptors, standard);
    const int error = posix_spawn(&pid, argv[0], &child, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&child);
    return error == 0 ? ERROR_SUCCESS : winapi::error_from_errno(error);
}

// A child is waited for, even when its handle is closed first: it leaves nothing behind.
DWORD wait_for_exit(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    // A child that a signal ended has the code that a shell would report.
    return static_cast<DWORD>(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
}

struct Process final : winapi::Object {
    explicit Process(pid_t pid) {
        std::packaged_task<DWORD()> task([pid] { return wait_for_exit(pid); });
        exit_code = task.get_future();
        std::thread(std::move(task)).detach();
    }
    const char* kind() const override { return "process"; }

    std::shared_future<DWORD> exit_code;
};

struct Thread final : winapi::Object {
    const char* kind() const override { return "thread"; }
};

}  // namespace

BOOL CreateProcessW(LPCWSTR application, LPWSTR command_line, SECURITY_ATTRIBUTES* process_security,
                    SECURITY_ATTRIBUTES* thread_security, BOOL inherit_handles, DWORD flags, LPVOID environment,
                    LPCWSTR directory, STARTUPINFOW* startup, PROCESS_INFORMATION* information) {
    if (create_process_point.fails()) return fail(ERROR_NOT_ENOUGH_MEMORY);
    constexpr DWORD startup_flags = STARTF_USESHOWWINDOW | STARTF_USESTDHANDLES;
    if (application != nullptr || process_security != nullptr || thread_security != nullptr || flags != 0 ||
        environment != nullptr || directory != nullptr || startup->dwFlags != startup_flags) {
        return fail(ERROR_INVALID_PARAMETER);
    }
    const std::u16string line = command_line;
    std::string program;
    size_t end = 0;
    if (const DWORD error = find_program(line, program, end)) return fail(error);
    pid_t pid = -1;
    const DWORD error = spawn(split_arguments(program, line, end), inherit_handles != FALSE, *startup, pid);
    if (error != 0) return fail(error);
    information->hProcess = winapi::insert_handle(std::make_shared<Process>(pid));
    information->hThread = winapi::insert_handle(std::make_shared<Thread>());
    information->dwProcessId = static_cast<DWORD>(pid);
    information->dwThreadId = static_cast<DWORD>(pid);
    return TRUE;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD timeout_ms) {
    const bool injected = wait_point.fails();
    const auto process = injected ? nullptr : winapi::find_handle_as<Process>(handle);
    if (process == nullptr) return fail(ERROR_INVALID_HANDLE, WAIT_FAILED);
    if (timeout_ms != INFINITE) return fail(ERROR_INVALID_PARAMETER, WAIT_FAILED);
    process->exit_code.wait();
    return WAIT_OBJECT_0;
}

BOOL GetExitCodeProcess(HANDLE process, DWORD* code) {
    if (exit_code_point.fails()) return fail(ERROR_INVALID_HANDLE);
    const auto found = winapi::find_handle_as<Process>(process);
    if (found == nullptr) return fail(ERROR_INVALID_HANDLE);
    const bool ended = found->exit_code.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    *code = ended ? found->exit_code.get() : STILL_ACTIVE;
    return TRUE;
}

DWORD GetCurrentThreadId() {
    thread_local const auto id = static_cast<DWORD>(gettid());
    return id;
}

namespace {

BOOL copy_name(std::u16string_view name, LPWSTR buffer, DWORD* size, DWORD too_small) {
    const auto length = static_cast<DWORD>(name.size());
    const bool fits = *size > length;
    if (fits) buffer[name.copy(buffer, length)] = 0;
    *size = fits ? length : length + 1;
    return finish(fits ? ERROR_SUCCESS : too_small);
}

}  // namespace

BOOL GetComputerNameW(LPWSTR buffer, DWORD* size) {
    if (computer_name_point.fails()) return fail(ERROR_NOT_ENOUGH_MEMORY);
    return copy_name(u"AZ-PRINT", buffer, size, ERROR_BUFFER_OVERFLOW);
}

BOOL GetUserNameW(LPWSTR buffer, DWORD* size) {
    if (user_name_point.fails()) return fail(ERROR_NO_TOKEN);
    return copy_name(u"SYSTEM", buffer, size, ERROR_INSUFFICIENT_BUFFER);  // the spooler's account
}
