#include "winapi/linux/file.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <vector>

#include "winapi/linux/error.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/file_internal.h"
#include "winapi/linux/handle.h"

namespace {

using winapi::OpenFile;

winapi::fault::Point create_file_point("CreateFileW");
winapi::fault::Point file_size_point("GetFileSizeEx");
winapi::fault::Point delete_point("DeleteFileW");
winapi::fault::Point read_point("ReadFile");
winapi::fault::Point write_point("WriteFile");
winapi::fault::Point close_point("CloseHandle");
winapi::fault::Point find_first_point("FindFirstFileW");
winapi::fault::Point find_next_point("FindNextFileW");
winapi::fault::Point find_close_point("FindClose");

bool is_supported(DWORD access, DWORD share, DWORD disposition, DWORD flags, HANDLE template_file) {
    return access != 0 && (access & ~(GENERIC_READ | GENERIC_WRITE)) == 0 &&
           (share & ~(FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE)) == 0 && disposition >= CREATE_NEW &&
           disposition <= OPEN_ALWAYS && (flags & ~FILE_ATTRIBUTE_NORMAL) == 0 && template_file == nullptr;
}

// A listing taken when the search begins, in the order of the names.
struct Find final : winapi::Object {
    std::string folder;
    std::vector<std::string> names;
    size_t next = 0;

    const char* kind() const override { return "find"; }
};

// The folder that "folder\*" lists; ERROR_NOT_SUPPORTED for any other pattern.
DWORD listed_folder(LPCWSTR pattern, std::string& folder) {
    const std::u16string_view path = pattern == nullptr ? u"" : pattern;
    if (path.empty()) return ERROR_PATH_NOT_FOUND;
    if (!path.ends_with(u'*')) return ERROR_NOT_SUPPORTED;
    if (path == u"*") return winapi::resolve_path(u".", folder);
    const std::u16string listed(path.substr(0, path.size() - 1));
    if (listed.back() != u'\\' && listed.back() != u'/') return ERROR_NOT_SUPPORTED;
    return winapi::resolve_path(listed.c_str(), folder);
}

DWORD list_folder(const std::string& folder, std::vector<std::string>& names) {
    DIR* const directory = ::opendir(folder.c_str());
    if (directory == nullptr) {
        if (errno == ENOENT) return ERROR_PATH_NOT_FOUND;
        return errno == ENOTDIR ? ERROR_DIRECTORY : winapi::error_from_errno(errno);
    }
    while (const dirent* const entry = ::readdir(directory)) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") names.emplace_back(name);
    }
    ::closedir(directory);
    std::sort(names.begin(), names.end());
    names.insert(names.begin(), {".", ".."});
    return ERROR_SUCCESS;
}

void describe(const std::string& name, const struct stat& status, WIN32_FIND_DATAW& data) {
    data = {};
    const bool is_folder = S_ISDIR(status.st_mode);
    if (is_folder) data.dwFileAttributes |= FILE_ATTRIBUTE_DIRECTORY;
    if (winapi::is_read_only(status)) data.dwFileAttributes |= FILE_ATTRIBUTE_READONLY;
    if (data.dwFileAttributes == 0) data.dwFileAttributes = FILE_ATTRIBUTE_NORMAL;
    data.ftCreationTime = winapi::file_time_of(status.st_ctim);
    data.ftLastAccessTime = winapi::file_time_of(status.st_atim);
    data.ftLastWriteTime = winapi::file_time_of(status.st_mtim);
    const auto size = static_cast<std::uint64_t>(is_folder ? 0 : status.st_size);
    data.nFileSizeHigh = static_cast<DWORD>(size >> 32);
    data.nFileSizeLow = static_cast<DWORD>(size);
    const std::u16string wide = winapi::to_utf16(name);
    wide.copy(data.cFileName, MAX_PATH - 1);
}

// The next entry that still exists.
DWORD next_entry(Find& find, WIN32_FIND_DATAW& data) {
    while (find.next < find.names.size()) {
        const std::string& name = find.names[find.next++];
        const std::string path = find.folder + "/" + name;
        struct stat status {};
        if (::stat(path.c_str(), &status) != 0 && ::lstat(path.c_str(), &status) != 0) continue;
        describe(name, status, data);
        return ERROR_SUCCESS;
    }
    return ERROR_NO_MORE_FILES;
}

}  // namespace

HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security, DWORD disposition,
                   DWORD flags, HANDLE template_file) {
    if (create_file_point.fails()) return winapi::fail(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
    if (!is_supported(access, share, disposition, flags, template_file))
        return winapi::fail(ERROR_INVALID_PARAMETER, INVALID_HANDLE_VALUE);
    std::string native;
    if (const DWORD error = winapi::resolve_path(path, native)) return winapi::fail(error, INVALID_HANDLE_VALUE);

    std::shared_ptr<OpenFile> file;
    bool existed = false;
    const winapi::OpenRequest request = {access, share, disposition, false, "file"};
    if (const DWORD error = winapi::open_file(native, request, file, existed))
        return winapi::fail(error, INVALID_HANDLE_VALUE);
    file->inheritable = security != nullptr && security->bInheritHandle != FALSE;
    // The only success that also sets the last error.
    if (disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS) {
        SetLastError(existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    }
    return winapi::insert_handle(std::move(file));
}

BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER* size) {
    if (file_size_point.fails()) return winapi::fail(ERROR_INVALID_FUNCTION);
    const auto object = winapi::find_handle_as<OpenFile>(file);
    if (object == nullptr) return winapi::fail(ERROR_INVALID_HANDLE);
    if (size == nullptr) return winapi::fail(ERROR_INVALID_PARAMETER);
    struct stat status {};
    if (const int error = winapi::look_at(object->descriptor(), status)) {
        return winapi::fail(winapi::error_from_errno(error));
    }
    size->QuadPart = status.st_size;
    return TRUE;
}

BOOL DeleteFileW(LPCWSTR path) {
    if (delete_point.fails()) return winapi::fail(ERROR_ACCESS_DENIED);
    std::string native;
    if (const DWORD error = winapi::resolve_path(path, native)) return winapi::fail(error);
    const DWORD error = winapi::delete_file(native);
    return error == ERROR_SUCCESS ? TRUE : winapi::fail(error);
}

BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD size, DWORD* count, void* overlapped) {
    if (count != nullptr) *count = 0;
    if (read_point.fails()) return winapi::fail(ERROR_READ_FAULT);
    if (count == nullptr || overlapped != nullptr) return winapi::fail(ERROR_INVALID_PARAMETER);
    const auto object = winapi::find_handle(file);
    if (object == nullptr || object->descriptor() < 0) return winapi::fail(ERROR_INVALID_HANDLE);
    size_t transferred = 0;
    const DWORD error = winapi::read_some(object->descriptor(), buffer, read_point.shortened(size), transferred);
    *count = static_cast<DWORD>(transferred);
    return error == ERROR_SUCCESS ? TRUE : winapi::fail(error);
}

BOOL WriteFile(HANDLE file, LPCVOID data, DWORD size, DWORD* count, void* overlapped) {
    if (count != nullptr) *count = 0;
    if (write_point.fails()) return winapi::fail(ERROR_DISK_FULL);
    if (count == nullptr || overlapped != nullptr) return winapi::fail(ERROR_INVALID_PARAMETER);
    const auto object = winapi::find_handle(file);
    if (object == nullptr || object->descriptor() < 0) return winapi::fail(ERROR_INVALID_HANDLE);
    auto* const write = winapi::is_a<OpenFile>(object.get()) ? winapi::write_all : winapi::write_all_quietly;
    size_t transferred = 0;
    const DWORD error = write(object->descriptor(), data, write_point.shortened(size), transferred);
    *count = static_cast<DWORD>(transferred);
    return error == ERROR_SUCCESS ? TRUE : winapi::fail(error);
}

BOOL CloseHandle(HANDLE handle) {
    const bool fails = close_point.fails();
    const auto object = winapi::find_handle(handle);
    if (object == nullptr) return winapi::fail(ERROR_INVALID_HANDLE);
    if (std::dynamic_pointer_cast<Find>(object) != nullptr) {
        winapi::count_misuse();
        return winapi::fail(ERROR_INVALID_HANDLE);
    }
    const DWORD error = winapi::close_handle(handle);
    if (fails) return winapi::fail(ERROR_INVALID_HANDLE);
    return error == ERROR_SUCCESS ? TRUE : winapi::fail(error);
}

HANDLE FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* data) {
    if (find_first_point.fails()) return winapi::fail(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
    if (data == nullptr) return winapi::fail(ERROR_INVALID_PARAMETER, INVALID_HANDLE_VALUE);
    const auto find = std::make_shared<Find>();
    if (const DWORD error = listed_folder(pattern, find->folder)) return winapi::fail(error, INVALID_HANDLE_VALUE);
    if (const DWORD error = list_folder(find->folder, find->names)) return winapi::fail(error, INVALID_HANDLE_VALUE);
    if (const DWORD error = next_entry(*find, *data)) return winapi::fail(error, INVALID_HANDLE_VALUE);
    return winapi::insert_handle(find);
}

BOOL FindNextFileW(HANDLE find, WIN32_FIND_DATAW* data) {
    if (find_next_point.fails()) return winapi::fail(ERROR_NOT_ENOUGH_MEMORY);
    const auto object = winapi::find_handle_as<Find>(find);
    if (object == nullptr) return winapi::fail(ERROR_INVALID_HANDLE);
    const DWORD error = next_entry(*object, *data);
    return error == ERROR_SUCCESS ? TRUE : winapi::fail(error);
}

BOOL FindClose(HANDLE find) {
    const bool fails = find_close_point.fails();
    if (winapi::find_handle_as<Find>(find) == nullptr) return winapi::fail(ERROR_INVALID_HANDLE);
    const DWORD error = winapi::close_handle(find);
    if (fails) return winapi::fail(ERROR_INVALID_HANDLE);
    return error == ERROR_SUCCESS ? TRUE : winapi::fail(error);
}
