#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <mutex>
#include <utility>

#include "winapi/linux/error.h"
#include "winapi/linux/file.h"
#include "winapi/linux/file_internal.h"

namespace winapi {
namespace {

// One open of a file.
struct Opener {
    const OpenFile* file;
    DWORD access;
    DWORD share;
};

// By device and inode, so that every path to a file finds the same entries. The lock is held from the look at a file to
// the change of it (open, delete, rename): nobody opens in between.
struct Sharing {
    std::mutex mutex;
    std::multimap<FileId, Opener> openers;
};

Sharing& sharing() {
    static Sharing* const instance = new Sharing;  // outlives every static of the process
    return *instance;
}

FileId id_of(const struct stat& status) {
    return {status.st_dev, status.st_ino};
}

// The sharing that an access requires of the other opens.
DWORD share_needed(DWORD access) {
    return ((access & GENERIC_READ) != 0 ? FILE_SHARE_READ : 0) |
           ((access & GENERIC_WRITE) != 0 ? FILE_SHARE_WRITE : 0);
}

// The caller holds the table's lock, here and in the functions below.
bool may_open(const FileId& id, const OpenRequest& request) {
    const auto [first, last] = sharing().openers.equal_range(id);
    return std::all_of(first, last, [&request](const auto& entry) {
        const Opener& other = entry.second;
        return (share_needed(request.access) & ~other.share) == 0 && (share_needed(other.access) & ~request.share) == 0;
    });
}

bool may_delete(const FileId& id) {
    const auto [first, last] = sharing().openers.equal_range(id);
    return std::all_of(first, last, [](const auto& entry) { return (entry.second.share & FILE_SHARE_DELETE) != 0; });
}

int open_flags(const OpenRequest& request) {
    const bool reads = (request.access & GENERIC_READ) != 0;
    const bool writes = (request.access & GENERIC_WRITE) != 0;
    const int mode = reads && writes ? O_RDWR : writes ? O_WRONLY : O_RDONLY;
    return mode | O_CLOEXEC | O_NOCTTY | (request.append ? O_APPEND : 0);
}

int open_retrying(const std::string& native, int flags) {
    int descriptor = -1;
    do {
        descriptor = ::open(native.c_str(), flags, 0666);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

DWORD open_descriptor(const std::string& native, const OpenRequest& request, int& descriptor, bool& existed) {
    existed = false;
    const int flags = open_flags(request);
    if (request.disposition != OPEN_EXISTING) {
        descriptor = open_retrying(native, flags | O_CREAT | O_EXCL);
        if (descriptor >= 0) return ERROR_SUCCESS;
        if (errno != EEXIST) return path_error(native, errno);
        if (request.disposition == CREATE_NEW) return ERROR_FILE_EXISTS;
    }
    descriptor = open_retrying(native, flags);
    existed = true;
    return descriptor >= 0 ? ERROR_SUCCESS : path_error(native, errno);
}

// Whether the file just opened may be used as asked for.
DWORD check_opened(const OpenRequest& request, const struct stat& status, bool existed) {
    if (S_ISDIR(status.st_mode)) return ERROR_ACCESS_DENIED;
    if (existed && (request.access & GENERIC_WRITE) != 0 && is_read_only(status)) return ERROR_ACCESS_DENIED;
    return may_open(id_of(status), request) ? ERROR_SUCCESS : ERROR_SHARING_VIOLATION;
}

// A file's name does not end in a separator; a folder's may, but a folder is not opened here.
DWORD separator_error(const std::string& native) {
    struct stat status {};
    const std::string name = native.substr(0, native.size() - 1);
    if (::stat(name.c_str(), &status) == 0) {
        return S_ISDIR(status.st_mode) ? ERROR_PATH_NOT_FOUND : ERROR_INVALID_NAME;
    }
    const DWORD error = path_error(name, errno);
    return error == ERROR_FILE_NOT_FOUND ? ERROR_INVALID_NAME : error;
}

}  // namespace

int look_at(int descriptor, struct stat& status) {
    struct statx found {};
    constexpr unsigned wanted = STATX_TYPE | STATX_MODE | STATX_INO | STATX_SIZE;
    if (::statx(descriptor, "", AT_EMPTY_PATH, wanted, &found) != 0) return errno;
    status = {};
    status.st_dev = makedev(found.stx_dev_major, found.stx_dev_minor);
    status.st_ino = found.stx_ino;
    status.st_mode = found.stx_mode;
    status.st_size = static_cast<off_t>(found.stx_size);
    return 0;
}

bool is_read_only(const struct stat& status) {
    return (status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
}

DWORD OpenFile::close() {
    const std::lock_guard lock(sharing().mutex);
    if (descriptor_ < 0) return ERROR_SUCCESS;
    const auto [first, last] = sharing().openers.equal_range(id_);
    const auto own = std::find_if(first, last, [this](const auto& entry) { return entry.second.file == this; });
    if (own != last) sharing().openers.erase(own);
    const int result = ::close(std::exchange(descriptor_, -1));
    return result == 0 || errno == EINTR ? ERROR_SUCCESS : error_from_errno(errno);
}

DWORD open_file(const std::string& native, const OpenRequest& request, std::shared_ptr<OpenFile>& file, bool& existed) {
    if (ends_in_separator(native)) return separator_error(native);
    std::shared_ptr<OpenFile> opened;  // closes after the lock is gone, for closing takes it
    const std::lock_guard lock(sharing().mutex);
    int descriptor = -1;
    if (const DWORD error = open_descriptor(native, request, descriptor, existed)) return error;
    struct stat status {};
    const int reason = look_at(descriptor, status);
    opened = std::make_shared<OpenFile>(descriptor, id_of(status), request.kind);
    if (reason != 0) return error_from_errno(reason);
    if (const DWORD error = check_opened(request, status, existed)) return error;
    const bool truncates = existed && request.disposition == CREATE_ALWAYS && S_ISREG(status.st_mode);
    if (truncates && ::ftruncate(descriptor, 0) != 0) return error_from_errno(errno);
    if (S_ISREG(status.st_mode)) {
        sharing().openers.emplace(id_of(status), Opener{opened.get(), request.access, request.share});
    }
    file = std::move(opened);
    return ERROR_SUCCESS;
}

DWORD delete_file(const std::string& native) {
    const std::lock_guard lock(sharing().mutex);
    struct stat status {};
    if (::lstat(native.c_str(), &status) != 0) {
        return ends_in_separator(native) ? separator_error(native) : path_error(native, errno);
    }
    if (S_ISDIR(status.st_mode) || is_read_only(status)) return ERROR_ACCESS_DENIED;
    if (!may_delete(id_of(status))) return ERROR_SHARING_VIOLATION;
    return ::unlink(native.c_str()) == 0 ? ERROR_SUCCESS : path_error(native, errno);
}

DWORD rename_file(const std::string& from, const std::string& to) {
    const std::lock_guard lock(sharing().mutex);
    struct stat source {};
    if (::lstat(from.c_str(), &source) != 0) return path_error(from, errno);
    if (!may_delete(id_of(source))) return ERROR_SHARING_VIOLATION;
    struct stat target {};
    const bool is_there = ::lstat(to.c_str(), &target) == 0;
    if (is_there && from != to) return ERROR_ALREADY_EXISTS;
    if (::rename(from.c_str(), to.c_str()) == 0) return ERROR_SUCCESS;
    return errno == ENOENT ? ERROR_PATH_NOT_FOUND : error_from_errno(errno);
}

DWORD write_all(int descriptor, const void* data, size_t size, size_t& written) {
    written = 0;
    while (written < size) {
        const ssize_t count = ::write(descriptor, static_cast<const char*>(data) + written, size - written);
        if (count >= 0) {
            written += static_cast<size_t>(count);
        } else if (errno == EBADF) {
            return ERROR_ACCESS_DENIED;  // the descriptor is open, but for reading
        } else if (errno != EINTR) {
            return error_from_errno(errno);
        }
    }
    return ERROR_SUCCESS;
}

DWORD read_some(int descriptor, void* buffer, size_t size, size_t& count) {
    ssize_t result = 0;
    do {
        result = ::read(descriptor, buffer, size);
    } while (result < 0 && errno == EINTR);
    count = result > 0 ? static_cast<size_t>(result) : 0;
    if (result < 0) return errno == EBADF ? ERROR_ACCESS_DENIED : error_from_errno(errno);
    if (result > 0 || size == 0) return ERROR_SUCCESS;
    struct stat status {};
    const bool is_pipe = ::fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode);
    return is_pipe ? ERROR_BROKEN_PIPE : ERROR_SUCCESS;
}

DWORD write_all_quietly(int descriptor, const void* data, size_t size, size_t& written) {
    sigset_t pipe_signal;
    sigset_t before;
    sigemptyset(&pipe_signal);
    sigaddset(&pipe_signal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_signal, &before);
    const DWORD error = write_all(descriptor, data, size, written);
    if (error == ERROR_NO_DATA && sigismember(&before, SIGPIPE) == 0) {
        // The signal waits on this thread; it must not be left for when signals are let through again.
        const timespec now{};
        while (sigtimedwait(&pipe_signal, nullptr, &now) < 0 && errno == EINTR) {
        }
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error;
}

}  // namespace winapi
