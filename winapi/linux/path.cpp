#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <mutex>
#include <string_view>

#include "winapi/linux/control.h"
#include "winapi/linux/error.h"
#include "winapi/linux/file_internal.h"
#include "winapi/linux/handle.h"

#include <unistd.h>

namespace winapi {
namespace {

constexpr DWORD ERROR_BAD_NETPATH = 53;

struct Drives {
    std::mutex mutex;
    std::map<WCHAR, std::string> folders{{u'Z', "/"}};
};

Drives& drives() {
    static Drives* const instance = new Drives;  // outlives every static of the process
    return *instance;
}

constexpr std::u16string_view separators = u"\\/";

bool is_separator(WCHAR c) {
    return separators.find(c) != separators.npos;
}

bool is_forbidden(WCHAR c) {
    return c < 0x20 || std::u16string_view(u"<>:\"|?*").find(c) != std::u16string_view::npos;
}

bool is_letter(WCHAR c) {
    return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z');
}

WCHAR upper(WCHAR letter) {
    return static_cast<WCHAR>(letter & ~0x20);
}

bool has_drive(std::u16string_view path) {
    return path.size() >= 2 && path[1] == u':';
}

// "/a/b" for "/a//b/", nothing for the root.
std::string without_empty_names(const std::string& native) {
    std::string result;
    for (size_t start = 0; start < native.size();) {
        const size_t end = std::min(native.find('/', start), native.size());
        if (end > start) result.append("/").append(native, start, end - start);
        start = end + 1;
    }
    return result;
}

// The last name loses the blanks and periods at its end, a name before it one period.
std::u16string_view trim(std::u16string_view name, bool last) {
    if (!last) return name.ends_with(u'.') ? name.substr(0, name.size() - 1) : name;
    const size_t end = name.find_last_not_of(u" .");
    return name.substr(0, end == std::u16string_view::npos ? 0 : end + 1);
}

// Where the path starts, taken off its front: a drive's folder, the root, or the current directory. `climbs`
// tells whether ".." leads out of it.
DWORD take_start(std::u16string_view& path, std::string& folder, bool& climbs) {
    climbs = false;
    if (has_drive(path)) {
        if (!is_letter(path[0])) return ERROR_INVALID_NAME;
        const std::lock_guard lock(drives().mutex);
        const auto drive = drives().folders.find(upper(path[0]));
        if (drive == drives().folders.end()) return ERROR_PATH_NOT_FOUND;
        folder = drive->second;
        path.remove_prefix(2);
    } else if (is_separator(path[0])) {
        if (path.size() > 1 && is_separator(path[1])) return ERROR_BAD_NETPATH;
        folder = "/";
    } else {
        folder = current_folder();
        climbs = true;
    }
    return ERROR_SUCCESS;
}

// Adds the names of a path to the folder it starts from; ".." stays within its first
// `root` characters.
DWORD add_names(std::u16string_view path, size_t root, std::string& native) {
    while (!path.empty()) {
        const std::u16string_view name = path.substr(0, path.find_first_of(separators));
        if (std::any_of(name.begin(), name.end(), is_forbidden)) return ERROR_INVALID_NAME;
        path.remove_prefix(std::min(name.size() + 1, path.size()));
        const std::u16string_view kept = trim(name, path.empty());
        if (name == u"..") {
            if (native.size() > root) native.resize(native.rfind('/'));
        } else if (!kept.empty()) {
            native += "/" + to_utf8(std::u16string(kept).c_str());
        }
    }
    return ERROR_SUCCESS;
}

}  // namespace

std::string current_folder() {
    char* const folder = ::get_current_dir_name();
    std::string result = folder == nullptr ? "/" : folder;
    ::free(folder);
    return result;
}

void map_drive(WCHAR letter, const std::string& folder) {
    const std::lock_guard lock(drives().mutex);
    drives().folders[upper(letter)] = folder;
}

std::string native_path(LPCWSTR path) {
    std::string native;
    if (resolve_path(path, native) != ERROR_SUCCESS) return {};
    if (ends_in_separator(native)) native.pop_back();
    return native;
}

std::u16string windows_path(const std::string& native) {
    const std::string absolute = native.starts_with('/') ? native : current_folder() + "/" + native;
    std::u16string path = u"Z:" + to_utf16(absolute);
    for (WCHAR& c : path) {
        if (c == u'/') c = u'\\';
    }
    return path;
}

size_t full_path_length(std::u16string_view path) {
    if (has_drive(path)) return path.size();
    if (!path.empty() && is_separator(path[0])) return path.size() + 2;
    return windows_path(current_folder()).size() + 1 + path.size();
}

DWORD resolve_path(LPCWSTR path, std::string& native) {
    if (path == nullptr || *path == 0) return ERROR_PATH_NOT_FOUND;
    std::u16string_view rest(path);
    if (full_path_length(rest) >= MAX_PATH) return ERROR_PATH_NOT_FOUND;
    std::string folder;
    bool climbs = false;
    if (const DWORD error = take_start(rest, folder, climbs)) return error;

    native = without_empty_names(folder);
    native.reserve(native.size() + rest.size() + 1);
    if (const DWORD error = add_names(rest, climbs ? 0 : native.size(), native)) return error;
    if (native.empty() || (!rest.empty() && is_separator(rest.back()))) native += "/";
    return ERROR_SUCCESS;
}

bool ends_in_separator(const std::string& native) {
    return native.size() > 1 && native.ends_with('/');
}

DWORD path_error(const std::string& native, int error) {
    if (error != ENOENT) return error_from_errno(error);
    const size_t name = native.find_last_of('/', native.size() - (ends_in_separator(native) ? 2 : 1));
    const std::string parent = native.substr(0, name + 1);
    struct stat status {};
    const bool there = ::stat(parent.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    return there ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
}

}  // namespace winapi
