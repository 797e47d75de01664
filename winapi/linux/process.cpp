// Child processes, anonymous pipes, and the names of the computer and the user.
#include "winapi/linux/process.h"

#include <fcntl.h>
#include <signal.h>
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

// Finds the program of a command line and the place behind its name. An unquoted name may hold blanks: it is
// tried up to each of them, the shortest first. When nothing is found the first attempt's error counts.
DWORD find_program(const std::u16string& line, std::string& path, size_t& end) {
    if (!line.empty() && line[0] == u'"') {
        end = std::min(line.find(u'"', 1), line.size());
        const DWORD error = find_file(line.substr(1, end - 1), path);
        end = std::min(end + 1, line.size());
        return error;
    }
    DWORD first_error = 0;
    for (end = 0; end <= line.size(); ++end) {
        if (end < line.size() && !is_blank(line[end])) continue;
        const DWORD error = find_file(line.substr(0, end), path);
        if (error == 0) return 0;
        if (first_error == 0) first_error = error;
    }
    return first_error;
}

// One argument from `at` on, by the C runtime's rules: backslashes count in front of a quote only.
std::u16string next_argument(const std::u16string& line, size_t& at) {
    std::u16string argument;
    bool quoted = false;
    for (; at < line.size() && (quoted || !is_blank(line[at])); ++at) {
        size_t backslashes = 0;
        for (; at < line.size() && line[at] == u'\\'; ++at) ++backslashes;
        const bool quote = at < line.size() && line[at] == u'"';
        argument.append(quote ? backslashes / 2 : backslashes, u'\\');
        if (quote && backslashes % 2 == 0) {
            quoted = !quoted;
        } else if (quote) {
            argument += u'"';
        } else if (backslashes > 0) {
            --at;  // what follows them is looked at anew
        } else {
            argument += line[at];
        }
    }
    return argument;
}

std::vector<std::string> split_arguments(const std::string& program, const std::u16string& line, size_t at) {
    std::vector<std::string> arguments{program};
    for (;;) {
        while (at < line.size() && is_blank(line[at])) ++at;
        if (at >= line.size()) return arguments;
        arguments.push_back(winapi::to_utf8(next_argument(line, at).c_str()));
    }
}

}  // namespace

// -- starting a child -------------------------------------------------------------------------------------------------

namespace {

constexpr int first_free = 3;    // below are the standard descriptors
constexpr int keep_own = -1;     // the child's standard descriptor is this process's
constexpr int null_device = -2;  // it has none

// All that the child needs between fork and exec, where nothing may allocate or lock.
struct Launch {
    std::string program;
    std::vector<std::string> arguments;
    std::vector<char*> argv;
    std::array<int, 3> standard{keep_own, keep_own, keep_own};
    bool inherit = false;
    std::vector<int> inherited;
    int report = -1;  // takes the errno of a failed exec; closed by a successful one
    sigset_t signals{};
};

void prepare_arguments(Launch& launch, const std::u16string& line, size_t end) {
    launch.arguments = split_arguments(launch.program, line, end);
    for (std::string& argument : launch.arguments) launch.argv.push_back(argument.data());
    launch.argv.push_back(nullptr);
}

int standard_descriptor(HANDLE handle) {
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) return null_device;
    const auto object = winapi::find_handle(handle);
    return object != nullptr && object->descriptor() >= 0 ? object->descriptor() : null_device;
}

void prepare_descriptors(Launch& launch, bool inherit, const STARTUPINFOW& startup) {
    launch.inherit = inherit;
    if ((startup.dwFlags & STARTF_USESTDHANDLES) == 0) return;
    const std::array<HANDLE, 3> handles{startup.hStdInput, startup.hStdOutput, startup.hStdError};
    for (size_t i = 0; i < handles.size(); ++i) {
        launch.standard[i] = standard_descriptor(handles[i]);
    }
}

bool reaches_child(const Launch& launch, int fd) {
    return std::find(launch.inherited.begin(), launch.inherited.end(), fd) != launch.inherited.end();
}

// Of the child, from here to run_child: async-signal-safe calls only.

void close_others_at_exec() {
    if (close_range(first_free, ~0u, CLOSE_RANGE_CLOEXEC) == 0) return;
    constexpr int most = 65536;
    for (int fd = first_free; fd < most; ++fd) fcntl(fd, F_SETFD, FD_CLOEXEC);
}

// Descriptors that the standard ones are about to replace are moved out of their way first.
int moved_up(int fd) {
    if (fd == null_device) fd = open("/dev/null", O_RDWR | O_CLOEXEC);
    return fd >= 0 && fd < first_free ? fcntl(fd, F_DUPFD_CLOEXEC, first_free) : fd;
}

void set_standard_descriptors(const Launch& launch) {
    std::array<int, 3> sources{};
    for (size_t i = 0; i < sources.size(); ++i) sources[i] = moved_up(launch.standard[i]);
    for (size_t i = 0; i < sources.size(); ++i) {
        if (sources[i] >= 0) dup2(sources[i], static_cast<int>(i));
    }
}

[[noreturn]] void run_child(const Launch& launch) {
    set_standard_descriptors(launch);
    close_others_at_exec();
    for (const int fd : launch.inherited) {
        // One that has become a standard handle is that handle, and ends with it.
        const bool standard = std::find(launch.standard.begin(), launch.standard.end(), fd) != launch.standard.end();
        if (fd >= first_free && !standard) fcntl(fd, F_SETFD, 0);
    }
    signal(SIGPIPE, SIG_DFL);
    sigprocmask(SIG_SETMASK, &launch.signals, nullptr);
    execv(launch.program.c_str(), launch.argv.data());
    const int error = errno;
    const ssize_t written = write(launch.report, &error, sizeof error);
    _exit(written == sizeof error ? 127 : 126);
}

// Of the parent.

// Both ends are out of the way of the child's standard descriptors.
DWORD open_report(std::array<int, 2>& ends) {
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return winapi::error_from_errno(errno);
    for (int& end : ends) {
        if (end >= first_free) continue;
        const int low = end;
        end = fcntl(low, F_DUPFD_CLOEXEC, first_free);
        close(low);
    }
    return ends[0] >= 0 && ends[1] >= 0 ? 0 : ERROR_TOO_MANY_OPEN_FILES;
}

// The errno of a failed start; 0 when the program runs.
int read_report(int fd) {
    int error = 0;
    ssize_t count = 0;
    do {
        count = read(fd, &error, sizeof error);
    } while (count < 0 && errno == EINTR);
    return count == sizeof error ? error : 0;
}

DWORD error_from_exec(int error) {
    switch (error) {
        case ENOEXEC:
        case ELIBBAD:
            return ERROR_BAD_EXE_FORMAT;
        case E2BIG:
            return ERROR_FILENAME_EXCED_RANGE;
        case ETXTBSY:
            return ERROR_SHARING_VIOLATION;
        default:
            return winapi::error_from_errno(error);
    }
}

int wait_for_exit(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

// What the child inherits stays open until it has it: the number of a handle that another thread closes could be given
// to something else meanwhile, which the child would keep open.
pid_t fork_with_handles(Launch& launch) {
    winapi::Inheritance inheritance;
    if (launch.inherit) inheritance = winapi::inheritable_descriptors();
    launch.inherited = inheritance.descriptors;
    for (int& fd : launch.standard) {
        // A standard handle that the child does not inherit is missing there.
        if (fd != keep_own && !reaches_child(launch, fd)) fd = null_device;
    }
    const pid_t pid = fork();
    if (pid == 0) run_child(launch);
    return pid;
}

DWORD fork_and_exec(Launch& launch, pid_t& pid) {
    std::array<int, 2> report{-1, -1};
    if (const DWORD error = open_report(report); error != 0) {
        for (const int end : report) close(end);
        return error;
    }
    launch.report = report[1];
    pid = fork_with_handles(launch);
    const int fork_error = errno;
    close(report[1]);
    const int exec_error = pid > 0 ? read_report(report[0]) : 0;
    close(report[0]);
    if (pid < 0) return winapi::error_from_errno(fork_error);
    if (exec_error != 0) wait_for_exit(pid);
    return exec_error == 0 ? 0 : error_from_exec(exec_error);
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

DWORD start(Launch& launch, PROCESS_INFORMATION& information) {
    pid_t pid = -1;
    if (const DWORD error = fork_and_exec(launch, pid); error != 0) return error;
    auto process = std::make_shared<Process>();
    if (!watch(pid, process->exit)) {
        kill(pid, SIGKILL);
        wait_for_exit(pid);
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    information.hProcess = winapi::insert_handle(std::move(process));
    information.hThread = winapi::insert_handle(std::make_shared<Thread>());
    information.dwProcessId = static_cast<DWORD>(pid);
    information.dwThreadId = static_cast<DWORD>(pid);
    return 0;
}

// Signals wait meanwhile: none is handled in the child before it is another program, nor by the watching
// thread.
DWORD start_undisturbed(Launch& launch, PROCESS_INFORMATION& information) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    launch.signals = before;
    sigdelset(&launch.signals, SIGPIPE);
    const DWORD error = start(launch, information);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error;
}

}  // namespace

BOOL CreateProcessW(LPCWSTR application, LPWSTR command_line, SECURITY_ATTRIBUTES* process_security,
                    SECURITY_ATTRIBUTES* thread_security, BOOL inherit_handles, DWORD flags, LPVOID environment,
                    LPCWSTR directory, STARTUPINFOW* startup, PROCESS_INFORMATION* information) {
    if (create_process_point.fails()) return winapi::fail(ERROR_NOT_ENOUGH_MEMORY);
    const bool refused = application != nullptr || command_line == nullptr || process_security != nullptr ||
                         thread_security != nullptr || (flags & ~CREATE_NO_WINDOW) != 0 || environment != nullptr ||
                         directory != nullptr || startup == nullptr || information == nullptr;
    constexpr DWORD known_startup = STARTF_USESHOWWINDOW | STARTF_USESTDHANDLES;
    if (refused || (startup->dwFlags & ~known_startup) != 0) return winapi::fail(ERROR_INVALID_PARAMETER);

    const std::u16string line = command_line;
    Launch launch;
    size_t end = 0;
    DWORD error = find_program(line, launch.program, end);
    if (error != 0) return winapi::fail(error);
    prepare_arguments(launch, line, end);
    prepare_descriptors(launch, inherit_handles != FALSE, *startup);
    error = start_undisturbed(launch, *information);
    return error == 0 ? TRUE : winapi::fail(error);
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
    // A forked child has one thread, with another number; it never asks.
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
    std::u16string user = u"SYSTEM";
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

void set_user_name(const std::u16string& name) {
    const std::lock_guard lock(names().mutex);
    names().user = name;
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
    const std::lock_guard lock(names().mutex);
    const bool copied = copy_name(names().user, buffer, *size);
    *size = static_cast<DWORD>(names().user.size() + 1);  // with the terminator, other than the computer's name
    return copied ? TRUE : winapi::fail(ERROR_INSUFFICIENT_BUFFER);
}
