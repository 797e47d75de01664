#include "winapi/linux/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <mutex>
#include <utility>
#include <vector>

#include "winapi/linux/fault.h"
#include "winapi/linux/file_internal.h"

namespace {

using winapi::fail;
using winapi::finish;
using winapi::the;
using winapi::fault::Point;

Point create_file_point("CreateFileW");
Point file_size_point("GetFileSizeEx");
Point delete_point("DeleteFileW");
Point close_point("CloseHandle");
Point find_first_point("FindFirstFileW");
Point find_next_point("FindNextFileW");
Point find_close_point("FindClose");

// -- Open files and who shares what with whom -------------------------------------------------------------------------

// Device and inode, so that every path to a file finds the same entries.
using FileId = std::pair<dev_t, ino_t>;

FileId id_of(const struct stat& status) {
    return {status.st_dev, status.st_ino};
}

struct OpenFile final : winapi::Object {
    OpenFile(int descriptor, FileId file, DWORD needed_share, DWORD own_share)
        : fd(descriptor), id(std::move(file)), needed(needed_share), share(own_share) {}
    DWORD close() override;
    const char* kind() const override { return "file"; }
    int descriptor() const override { return fd; }

    int fd;
    const FileId id;
    const DWORD needed;  // the FILE_SHARE_* that its access requires of the other opens
    const DWORD share;
};

// The lock is held from the look at a file to the change of it (open, delete, rename): nobody opens in between.
struct OpenFiles {
    std::mutex mutex;
    std::vector<const OpenFile*> list;
};

DWORD OpenFile::close() {
    const std::lock_guard lock(the<OpenFiles>().mutex);
    std::erase(the<OpenFiles>().list, this);
    return ::close(fd) == 0 ? ERROR_SUCCESS : winapi::error_from_errno(errno);
}

// The caller holds the lock, here and below.
bool may_open(const FileId& id, DWORD needed, DWORD share) {
    const auto& list = the<OpenFiles>().list;
    return std::all_of(list.begin(), list.end(), [&](const OpenFile* other) {
        return other->id != id || ((needed & ~other->share) == 0 && (other->needed & ~share) == 0);
    });
}

bool is_open(const FileId& id) {
    const auto& list = the<OpenFiles>().list;
    return std::any_of(list.begin(), list.end(), [&id](const OpenFile* file) { return file->id == id; });
}

DWORD delete_file(const std::string& native) {
    const std::lock_guard lock(the<OpenFiles>().mutex);
    struct stat status {};
    if (::lstat(native.c_str(), &status) != 0) return winapi::path_error(native, errno);
    if (S_ISDIR(status.st_mode)) return ERROR_ACCESS_DENIED;
    if (is_open(id_of(status))) return ERROR_SHARING_VIOLATION;
    return ::unlink(native.c_str()) == 0 ? ERROR_SUCCESS : winapi::path_error(native, errno);
}

}  // namespace

namespace winapi {

DWORD open_file(const std::string& native, int flags, DWORD share, std::shared_ptr<Object>& file) {
    const std::lock_guard lock(the<OpenFiles>().mutex);
    const int fd = ::open(native.c_str(), (flags & ~O_TRUNC) | O_CLOEXEC | O_NOCTTY, 0666);
    if (fd < 0) return path_error(native, errno);
    struct stat status {};
    ::fstat(fd, &status);
    const DWORD needed = (flags & O_ACCMODE) == O_RDONLY ? FILE_SHARE_READ : FILE_SHARE_WRITE;
    DWORD error = ERROR_SUCCESS;
    if (S_ISDIR(status.st_mode)) {
        error = ERROR_ACCESS_DENIED;
    } else if (!may_open(id_of(status), needed, share)) {
        error = ERROR_SHARING_VIOLATION;
    } else if ((flags & O_TRUNC) != 0 && S_ISREG(status.st_mode) && status.st_size > 0 && ::ftruncate(fd, 0) != 0) {
        // A new file is not truncated: ext4 would take it for a replaced one and write it out at its close.
        error = error_from_errno(errno);
    }
    if (error != ERROR_SUCCESS) {
        ::close(fd);
        return error;
    }
    const auto opened = std::make_shared<OpenFile>(fd, id_of(status), needed, share);
    if (S_ISREG(status.st_mode)) the<OpenFiles>().list.push_back(opened.get());
    file = opened;
    return ERROR_SUCCESS;
}

DWORD rename_file(const std::string& from, const std::string& to) {
    const std::lock_guard lock(the<OpenFiles>().mutex);
    struct stat status {};
    if (::lstat(from.c_str(), &status) != 0) return path_error(from, errno);
    if (is_open(id_of(status))) return ERROR_SHARING_VIOLATION;
    if (::lstat(to.c_str(), &status) == 0) return ERROR_ALREADY_EXISTS;
    if (::rename(from.c_str(), to.c_str()) == 0) return ERROR_SUCCESS;
    return errno == ENOENT ? ERROR_PATH_NOT_FOUND : error_from_errno(errno);
}

DWORD write_all(int descriptor, const void* data, size_t size, size_t& written) {
    written = 0;
    while (written < size) {
        const ssize_t count = ::write(descriptor, static_cast<const char*>(data) + written, size - written);
        if (count < 0) return error_from_errno(errno);
        written += static_cast<size_t>(count);
    }
    return ERROR_SUCCESS;
}

}  // namespace winapi

HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security, DWORD disposition,
                   DWORD flags, HANDLE template_file) {
    if (create_file_point.fails()) return fail(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
    if (access != GENERIC_READ || (share & ~(FILE_SHARE_READ | FILE_SHARE_WRITE)) != 0 || security != nullptr ||
        disposition != OPEN_EXISTING || flags != FILE_ATTRIBUTE_NORMAL || template_file != nullptr) {
        return fail(ERROR_INVALID_PARAMETER, INVALID_HANDLE_VALUE);
    }
    std::string native;
    std::shared_ptr<winapi::Object> file;
    DWORD error = winapi::resolve_path(path, native);
    if (error == ERROR_SUCCESS) error = winapi::open_file(native, O_RDONLY, share, file);
    return error == ERROR_SUCCESS ? winapi::insert_handle(file) : fail(error, INVALID_HANDLE_VALUE);
}

BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER* size) {
    if (file_size_point.fails()) return fail(ERROR_INVALID_FUNCTION);
    const auto object = winapi::find_handle_as<OpenFile>(file);
    if (object == nullptr) return fail(ERROR_INVALID_HANDLE);
    struct stat status {};
    if (::fstat(object->fd, &status) != 0) return fail(winapi::error_from_errno(errno));
    size->QuadPart = status.st_size;
    return TRUE;
}

BOOL DeleteFileW(LPCWSTR path) {
    if (delete_point.fails()) return fail(ERROR_ACCESS_DENIED);
    std::string native;
    const DWORD error = winapi::resolve_path(path, native);
    return finish(error != ERROR_SUCCESS ? error : delete_file(native));
}

BOOL CloseHandle(HANDLE handle) {
    const bool fails = close_point.fails();
    const DWORD error = winapi::close_handle(handle);
    return finish(fails ? ERROR_INVALID_HANDLE : error);
}

// -- Listing a folder -------------------------------------------------------------------------------------------------

namespace {

// A listing taken when the search begins, in the order of the names.
struct Find final : winapi::Object {
    const char* kind() const override { return "find"; }

    std::vector<std::string> names;
    size_t next = 0;
};

DWORD list_folder(std::u16string_view pattern, std::vector<std::string>& names) {
    const size_t last = pattern.find_last_of(u"\\/") + 1;  // npos + 1 is 0
    if (pattern.substr(last) != u"*") return ERROR_NOT_SUPPORTED;
    std::string folder;
    const std::u16string path(last == 0 ? u"." : pattern.substr(0, last));
    if (const DWORD error = winapi::resolve_path(path.c_str(), folder)) return error;
    std::error_code failed;
    for (const auto& entry : std::filesystem::directory_iterator(folder, failed)) {
        names.push_back(entry.path().filename().string());
    }
    if (failed) return failed.value() == ENOENT ? ERROR_PATH_NOT_FOUND : winapi::error_from_errno(failed.value());
    std::sort(names.begin(), names.end());
    names.insert(names.begin(), {".", ".."});
    return ERROR_SUCCESS;
}

DWORD next_entry(Find& find, WIN32_FIND_DATAW& data) {
    if (find.next == find.names.size()) return ERROR_NO_MORE_FILES;
    data = {};
    winapi::to_utf16(find.names[find.next++]).copy(data.cFileName, MAX_PATH - 1);
    return ERROR_SUCCESS;
}

}  // namespace

HANDLE FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* data) {
    if (find_first_point.fails()) return fail(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
    const auto find = std::make_shared<Find>();
    if (const DWORD error = list_folder(pattern, find->names)) return fail(error, INVALID_HANDLE_VALUE);
    next_entry(*find, *data);
    return winapi::insert_handle(find);
}

BOOL FindNextFileW(HANDLE find, WIN32_FIND_DATAW* data) {
    if (find_next_point.fails()) return fail(ERROR_NOT_ENOUGH_MEMORY);
    const auto object = winapi::find_handle_as<Find>(find);
    return finish(object == nullptr ? ERROR_INVALID_HANDLE : next_entry(*object, *data));
}

BOOL FindClose(HANDLE find) {
    const bool fails = find_close_point.fails();
    const DWORD error = winapi::close_handle(find);
    return finish(fails ? ERROR_INVALID_HANDLE : error);
}
