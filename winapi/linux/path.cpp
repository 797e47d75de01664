#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <mutex>

#include "winapi/linux/control.h"
#include "winapi/linux/file_internal.h"

namespace winapi {
namespace {

struct Drives {
    std::mutex mutex;
    std::map<WCHAR, std::string> folders{{u'Z', ""}};
};

constexpr std::u16string_view separators = u"\\/";

bool is_separator(WCHAR c) {
    return separators.find(c) != separators.npos;
}

bool is_forbidden(WCHAR c) {
    return c < 0x20 || std::u16string_view(u"<>:\"|?*").find(c) != std::u16string_view::npos;
}

bool has_drive(std::u16string_view path) {
    return path.size() >= 2 && path[1] == u':';
}

}  // namespace

std::string current_folder() {
    char* const folder = ::get_current_dir_name();
    std::string result = folder == nullptr ? "/" : folder;
    ::free(folder);
    return result;
}

void map_drive(WCHAR letter, const std::string& folder) {
    const std::lock_guard lock(the<Drives>().mutex);
    the<Drives>().folders[fold_case(letter)] = folder;
}

std::string native_path(LPCWSTR path) {
    std::string native;
    return resolve_path(path, native) == ERROR_SUCCESS ? native : std::string();
}

std::u16string windows_path(const std::string& native) {
    const std::string absolute = native.starts_with('/') ? native : current_folder() + "/" + native;
    std::u16string path = u"Z:" + to_utf16(absolute);
    std::replace(path.begin(), path.end(), u'/', u'\\');
    return path;
}

size_t full_path_length(std::u16string_view path) {
    if (has_drive(path)) return path.size();
    if (!path.empty() && is_separator(path[0])) return path.size() + 2;
    return windows_path(current_folder()).size() + 1 + path.size();
}

DWORD resolve_path(LPCWSTR path, std::string& native) {
    if (path == nullptr || *path == 0 || full_path_length(path) >= MAX_PATH) return ERROR_PATH_NOT_FOUND;
    std::u16string_view rest(path);
    native.clear();
    size_t root = 0;  // ".." does not lead out of a drive's folder
    if (has_drive(rest)) {
        const std::lock_guard lock(the<Drives>().mutex);
        const auto drive = the<Drives>().folders.find(fold_case(rest[0]));
        if (drive == the<Drives>().folders.end()) return ERROR_PATH_NOT_FOUND;
        native = drive->second;
        root = native.size();
        rest.remove_prefix(2);
    } else if (!is_separator(rest[0])) {
        native = current_folder();
    }
    while (!rest.empty()) {
        const std::u16string_view name = rest.substr(0, rest.find_first_of(separators));
        if (std::any_of(name.begin(), name.end(), is_forbidden)) return ERROR_INVALID_NAME;
        rest.remove_prefix(std::min(name.size() + 1, rest.size()));
        if (name == u"..") {
            if (native.size() > root) native.resize(native.rfind('/'));
        } else if (!name.empty() && name != u".") {
            native += "/" + to_utf8(std::u16string(name).c_str());
        }
    }
    // With a separator at its end a path names a folder, never a file.
    if (native.empty() || is_separator(std::u16string_view(path).back())) native += "/";
    return ERROR_SUCCESS;
}

DWORD path_error(const std::string& native, int error) {
    if (error != ENOENT) return error_from_errno(error);
    const std::string parent = native.substr(0, native.rfind('/') + 1);
    struct stat status {};
    const bool there = ::stat(parent.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    return there ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
}

}  // namespace winapi
