// Child processes, anonymous pipes, and the names of the computer and the user.
#include "winapi/linux/process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>

#include "winapi/linux/control.h"
#include "winapi/linux/error.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/wait.h"

namespace {

using winapi::fault::Point;

Point create_pipe_point("CreatePipe");
Point set_information_point("SetHandleInformation");
Point create_process_point("CreateProcessW");
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
    if (create_pipe_point.fails()) return winapi::fail(ERROR_TOO_MANY_OPEN_FILES);
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return winapi::fail(winapi::error_from_errno(errno));
    enlarge_pipe(ends[1], size);
    const bool inheritable = security != nullptr && security->bInheritHandle != FALSE;
    *read_end = insert_pipe_end(ends[0], inheritable);
    *write_end = insert_pipe_end(ends[1], inheritable);
    return TRUE;
}

BOOL SetHandleInformation(HANDLE handle, DWORD mask, DWORD flags) {
    if (set_information_point.fails()) return winapi::fail(ERROR_INVALID_HANDLE);
    if ((mask & ~HANDLE_FLAG_INHERIT) != 0) return winapi::fail(ERROR_INVALID_PARAMETER);
    if (mask == 0) return TRUE;
    const bool known = winapi::set_inheritable(handle, (flags & HANDLE_FLAG_INHERIT) != 0);
    return known ? TRUE : winapi::fail(ERROR_INVALID_HANDLE);
}

// -- command lines ----------------------------------------------------------------------------------------------------

namespace {

bool is_blank(WCHAR c) {
    return c == u' ' || c == u'\t';
}

bool is_file(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// 0 with the path of this machine when the name, or the name with ".exe", is a file.
DWORD find_file(const std::u16string& name, std::string& path) {
    DWORD error = winapi::resolve_path(name.c_str(), path);
    if (error != 0) return error;
    if (is_file(path)) return 0;
    const size_t last = name.find_last_of(u"\\/:") + 1;  // npos + 1 is 0
    if (name.find(u'.', last) != std::u16string::npos) return ERROR_FILE_NOT_FOUND;
    error = winapi::resolve_path((name + u".exe").c_str(), path);
    if (error != 0) return error;
    return is_file(path) ? 0 : ERROR_FILE_NOT_FOUND;
}

// Finds the program of an unquoted command line and the place behind its name. A name may hold blanks: it is tried up
// to each of them, the shortest first. When nothing is found the first attempt's error counts.
DWORD find_program(const std::u16string& line, std::string& path, size_t& end) {
    DWORD first_error = 0;
    for (end = 0; end <= line.size(); ++end) {
        if (end < line.size() && !is_blank(line[end])) continue;
        const DWORD error = find_file(line.substr(0, end), path);
        if (error == 0) return 0;
        if (first_error == 0) first_error = error;
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

struct SpawnActions {
    SpawnActions() { posix_spawn_file_actions_init(&actions); }
    ~SpawnActions() { posix_spawn_file_actions_destroy(&actions); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;

    // The descriptor is the child's `target`. The same number keeps it open, although it is close-on-exec here.
    void give(int fd, int target) { posix_spawn_file_actions_adddup2(&actions, fd, target); }
    void give_null_device(int target) { posix_spawn_file_actions_addopen(&actions, target, "/dev/null", O_RDWR, 0); }

    posix_spawn_file_actions_t actions;
};

int descriptor_of(HANDLE handle) {
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) return -1;
    const auto object = winapi::find_handle(handle);
    return object != nullptr ? object->descriptor() : -1;
}

bool contains(const std::vector<int>& descriptors, int fd) {
    return std::find(descriptors.begin(), descriptors.end(), fd) != descriptors.end();
}

// A standard handle that does not reach the child, for want of inheritance say, is the null device there. One that does
// has its standard number there and no other, so that the child closes it when it closes that.
void give_handles(SpawnActions& child, const std::vector<int>& inherited, const STARTUPINFOW& startup) {
    const std::vector<int> standard{descriptor_of(startup.hStdInput), descriptor_of(startup.hStdOutput),
                                    descriptor_of(startup.hStdError)};
    for (int target = 0; target < 3; ++target) {
        const int fd = standard[static_cast<size_t>(target)];
        if (contains(inherited, fd)) {
            child.give(fd, target);
        } else {
            child.give_null_device(target);
        }
    }
    for (const int fd : inherited) {
        if (!contains(standard, fd)) child.give(fd, fd);
    }
}

DWORD error_from_spawn(int error) {
    switch (error) {
        case 0:
            return 0;
        case ENOEXEC:
        case ELIBBAD:
            return ERROR_BAD_EXE_FORMAT;
        case E2BIG:
            return ERROR_FILENAME_EXCED_RANGE;
        default:
            return winapi::error_from_errno(error);
    }
}

// What the child inherits stays open until it has it: the number of a handle that another thread closes could be given
// to something else meanwhile, which the child would keep open.
DWORD spawn(std::vector<std::string> arguments, bool inherit, const STARTUPINFOW& startup, pid_t& pid) {
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    SpawnActions child;
    winapi::Inheritance inheritance;
    if (inherit) inheritance = winapi::inheritable_descriptors();
    give_handles(child, inheritance.descriptors, startup);
    return error_from_spawn(posix_spawn(&pid, argv[0], &child.actions, nullptr, argv.data(), environ));
}

int wait_for_exit(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

}  // namespace

// -- its life ---------------------------------------------------------------------------------------------------------

namespace {

// How a child ended, shared by its handle and the thread that waits for it: whichever is closed or done
// first, the child is waited for and leaves nothing behind.
struct Exit {
    std::mutex mutex;
    std::condition_variable changed;
    bool ended = false;
    DWORD code = STILL_ACTIVE;
};

struct Process final : winapi::Waitable {
    const char* kind() const override { return "process"; }
    bool wait(std::int64_t real_ms) override {
        std::unique_lock lock(exit->mutex);
        const auto ended = [this] { return exit->ended; };
        if (real_ms >= 0) return exit->changed.wait_for(lock, std::chrono::milliseconds(real_ms), ended);
        exit->changed.wait(lock, ended);
        return true;
    }

    std::shared_ptr<Exit> exit = std::make_shared<Exit>();
};

struct Thread final : winapi::Object {
    const char* kind() const override { return "thread"; }
};

void record_exit(pid_t pid, Exit& exit) {
    const int status = wait_for_exit(pid);
    const std::lock_guard lock(exit.mutex);
    // A child that a signal ended has the code that a shell would report.
    exit.code = static_cast<DWORD>(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
    exit.ended = true;
    exit.changed.notify_all();
}

bool watch(pid_t pid, const std::shared_ptr<Exit>& exit) {
    try {
        std::thread([pid, exit] { record_exit(pid, *exit); }).detach();
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

}  // namespace

BOOL CreateProcessW(LPCWSTR application, LPWSTR command_line, SECURITY_ATTRIBUTES* process_security,
                    SECURITY_ATTRIBUTES* thread_security, BOOL inherit_handles, DWORD flags, LPVOID environment,
                    LPCWSTR directory, STARTUPINFOW* startup, PROCESS_INFORMATION* information) {
    if (create_process_point.fails()) return winapi::fail(ERROR_NOT_ENOUGH_MEMORY);
    const bool refused = application != nullptr || command_line == nullptr || process_security != nullptr ||
                         thread_security != nullptr || flags != 0 || environment != nullptr || directory != nullptr ||
                         startup == nullptr || information == nullptr;
    constexpr DWORD startup_flags = STARTF_USESHOWWINDOW | STARTF_USESTDHANDLES;
    if (refused || startup->dwFlags != startup_flags) return winapi::fail(ERROR_INVALID_PARAMETER);

    const std::u16string line = command_line;
    std::string program;
    size_t end = 0;
    if (const DWORD error = find_program(line, program, end)) return winapi::fail(error);
    pid_t pid = -1;
    const DWORD error = spawn(split_arguments(program, line, end), inherit_handles != FALSE, *startup, pid);
    if (error != 0) return winapi::fail(error);
    auto process = std::make_shared<Process>();
    if (!watch(pid, process->exit)) {
        kill(pid, SIGKILL);
        wait_for_exit(pid);
        return winapi::fail(ERROR_NOT_ENOUGH_MEMORY);
    }
    information->hProcess = winapi::insert_handle(std::move(process));
    information->hThread = winapi::insert_handle(std::make_shared<Thread>());
    information->dwProcessId = static_cast<DWORD>(pid);
    information->dwThreadId = static_cast<DWORD>(pid);
    return TRUE;
}

BOOL GetExitCodeProcess(HANDLE process, DWORD* code) {
    if (exit_code_point.fails()) return winapi::fail(ERROR_INVALID_HANDLE);
    const auto found = winapi::find_handle_as<Process>(process);
    if (found == nullptr) return winapi::fail(ERROR_INVALID_HANDLE);
    const std::lock_guard lock(found->exit->mutex);
    *code = found->exit->code;
    return TRUE;
}

DWORD GetCurrentThreadId() {
    thread_local const auto id = static_cast<DWORD>(gettid());
    return id;
}

DWORD GetCurrentProcessId() {
    return static_cast<DWORD>(getpid());
}

// -- names ------------------------------------------------------------------------------------------------------------

namespace {

constexpr size_t longest_computer_name = 15;

std::u16string host_name() {
    std::array<char, 256> name{};
    gethostname(name.data(), name.size() - 1);
    std::u16string result;
    for (const char* c = name.data(); *c != 0 && *c != '.' && result.size() < longest_computer_name; ++c) {
        result += static_cast<WCHAR>(*c >= 'a' && *c <= 'z' ? *c - 'a' + 'A' : *c);
    }
    return result;
}

struct Names {
    std::mutex mutex;
    std::u16string computer = host_name();
};

Names& names() {
    static Names* const instance = new Names;  // outlives every static of the process
    return *instance;
}

bool copy_name(const std::u16string& name, LPWSTR buffer, DWORD size) {
    if (buffer == nullptr || size <= name.size()) return false;
    std::copy_n(name.c_str(), name.size() + 1, buffer);
    return true;
}

}  // namespace

namespace winapi {

void set_computer_name(const std::u16string& name) {
    const std::lock_guard lock(names().mutex);
    names().computer = name;
}

}  // namespace winapi

BOOL GetComputerNameW(LPWSTR buffer, DWORD* size) {
    if (computer_name_point.fails()) return winapi::fail(ERROR_NOT_ENOUGH_MEMORY);
    const std::lock_guard lock(names().mutex);
    const auto length = static_cast<DWORD>(names().computer.size());
    const bool copied = copy_name(names().computer, buffer, *size);
    *size = copied ? length : length + 1;
    return copied ? TRUE : winapi::fail(ERROR_BUFFER_OVERFLOW);
}

BOOL GetUserNameW(LPWSTR buffer, DWORD* size) {
    if (user_name_point.fails()) return winapi::fail(ERROR_NO_TOKEN);
    static const std::u16string user = u"SYSTEM";  // the spooler's account
    const bool copied = copy_name(user, buffer, *size);
    *size = static_cast<DWORD>(user.size() + 1);  // with the terminator, other than the computer's name
    return copied ? TRUE : winapi::fail(ERROR_INSUFFICIENT_BUFFER);
}
