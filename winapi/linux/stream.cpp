// The C runtime's part of file.h: streams, and the calls that report through errno.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>

#include "winapi/linux/control.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/file.h"
#include "winapi/linux/file_internal.h"

namespace {

using winapi::the;
using winapi::fault::Point;

Point open_point("_wopen");
Point stream_open_point("_wfdopen");
Point stream_read_point("fread");
Point stream_write_point("fwrite");
Point stream_close_point("fclose");
Point access_point("_waccess");
Point rename_point("_wrename");
Point mkdir_point("_mkdir");
Point getcwd_point("_getcwd");
Point write_point("_write");
Point stat_point("_wstat64");

// Sets the last error, and errno as the runtime does for it, and returns -1.
int fail_with(DWORD error) {
    SetLastError(error);
    switch (error) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
            errno = ENOENT;
            break;
        case ERROR_ACCESS_DENIED:
        case ERROR_SHARING_VIOLATION:
        case ERROR_READ_FAULT:
            errno = EACCES;
            break;
        case ERROR_ALREADY_EXISTS:
            errno = EEXIST;
            break;
        case ERROR_NOT_ENOUGH_MEMORY:
            errno = ENOMEM;
            break;
        case ERROR_DISK_FULL:
            errno = ENOSPC;
            break;
        default:
            errno = EINVAL;
    }
    return -1;
}

int finish_with(DWORD error) {
    return error == ERROR_SUCCESS ? 0 : fail_with(error);
}

// --- streams

// What _wopen has opened: until _wfdopen makes it a stream it is known by its descriptor.
struct Stream {
    HANDLE handle;  // one that was not closed shows up as an open handle
    int fd;
    bool reads;
    bool is_text;
    std::string unread = {};  // of a text, which is read whole at first
    bool is_loaded = false;
};

struct Descriptors {
    std::mutex mutex;
    std::map<int, Stream> open;
};

ssize_t write_stream(void* cookie, const char* data, size_t size) {
    const Stream& stream = *static_cast<Stream*>(cookie);
    if (stream_write_point.fails()) {
        fail_with(ERROR_DISK_FULL);
        return 0;
    }
    const size_t wanted = Point::shortened(static_cast<unsigned>(size));
    std::string_view bytes(data, wanted);
    std::string lines;
    if (stream.is_text) {
        lines.reserve(bytes.size() + 2);
        for (size_t at = 0; at < bytes.size();) {
            const size_t end = std::min(bytes.find('\n', at), bytes.size());
            lines.append(bytes, at, end - at);
            if (end < bytes.size()) lines += "\r\n";
            at = end + 1;
        }
        bytes = lines;
    }
    size_t written = 0;
    DWORD error = winapi::write_all(stream.fd, bytes.data(), bytes.size(), written);
    if (error == ERROR_SUCCESS && wanted < size) error = ERROR_DISK_FULL;
    if (error == ERROR_SUCCESS) return static_cast<ssize_t>(size);
    fail_with(error);
    return 0;
}

// Reads the whole text, with LF for CR LF and up to the first Ctrl-Z.
bool load_text(Stream& stream) {
    constexpr char end_of_text = 0x1A;
    char raw[8192];
    ssize_t count = 0;
    std::string& text = stream.unread;
    while ((count = ::read(stream.fd, raw, sizeof raw)) > 0) text.append(raw, static_cast<size_t>(count));
    text.resize(std::min(text.find(end_of_text), text.size()));
    for (size_t at = 0; (at = text.find("\r\n", at)) != std::string::npos; ++at) text.erase(at, 1);
    stream.is_loaded = true;
    return count == 0;
}

ssize_t read_stream(void* cookie, char* out, size_t size) {
    auto& stream = *static_cast<Stream*>(cookie);
    if (stream_read_point.fails()) return fail_with(ERROR_READ_FAULT);
    const size_t wanted = Point::shortened(static_cast<unsigned>(size));
    if (stream.is_text) {
        if (!stream.is_loaded && !load_text(stream)) return fail_with(winapi::error_from_errno(errno));
        const size_t count = stream.unread.copy(out, wanted);
        stream.unread.erase(0, count);
        return static_cast<ssize_t>(count);
    }
    const ssize_t count = ::read(stream.fd, out, wanted);
    return count >= 0 ? count : fail_with(winapi::error_from_errno(errno));
}

int close_stream(void* cookie) {
    const bool fails = stream_close_point.fails();
    const std::unique_ptr<Stream> stream(static_cast<Stream*>(cookie));
    const DWORD error = winapi::close_handle(stream->handle);
    return finish_with(fails ? ERROR_DISK_FULL : error);
}

FILE* make_stream(const Stream& opened) {
    auto stream = std::make_unique<Stream>(opened);
    cookie_io_functions_t functions{};
    functions.read = read_stream;
    functions.write = write_stream;
    functions.close = close_stream;
    // O_APPEND does the appending; to stdio it is one more stream that is written.
    FILE* const file = ::fopencookie(stream.get(), stream->reads ? "r" : "w", functions);
    if (file != nullptr) static_cast<void>(stream.release());  // owned by close_stream from here on
    return file;
}

}  // namespace

int _wopen(LPCWSTR path, int flags, int /*permissions*/) {
    if (open_point.fails()) return fail_with(ERROR_ACCESS_DENIED);
    int native_flags = 0;
    switch (flags & ~(_O_TEXT | _O_BINARY | _O_NOINHERIT)) {
        case _O_RDONLY:
            native_flags = O_RDONLY;
            break;
        case _O_WRONLY | _O_CREAT | _O_TRUNC:
            native_flags = O_WRONLY | O_CREAT | O_TRUNC;
            break;
        case _O_WRONLY | _O_CREAT | _O_APPEND:
            native_flags = O_WRONLY | O_CREAT | O_APPEND;
            break;
        default:
            return fail_with(ERROR_INVALID_PARAMETER);
    }
    std::string native;
    std::shared_ptr<winapi::Object> file;
    DWORD error = winapi::resolve_path(path, native);
    if (error == ERROR_SUCCESS)
        error = winapi::open_file(native, native_flags, FILE_SHARE_READ | FILE_SHARE_WRITE, file);
    if (error != ERROR_SUCCESS) return fail_with(error);
    file->inheritable = (flags & _O_NOINHERIT) == 0;
    const int fd = file->descriptor();
    const std::lock_guard lock(the<Descriptors>().mutex);
    the<Descriptors>().open[fd] =
        Stream{winapi::insert_handle(file), fd, native_flags == O_RDONLY, (flags & _O_TEXT) != 0};
    return fd;
}

int _close(int descriptor) {
    const std::lock_guard lock(the<Descriptors>().mutex);
    const auto found = the<Descriptors>().open.extract(descriptor);
    return finish_with(found.empty() ? ERROR_INVALID_HANDLE : winapi::close_handle(found.mapped().handle));
}

FILE* _wfdopen(int descriptor, LPCWSTR mode) {
    if (stream_open_point.fails()) return fail_with(ERROR_TOO_MANY_OPEN_FILES), nullptr;
    const std::lock_guard lock(the<Descriptors>().mutex);
    const auto found = the<Descriptors>().open.find(descriptor);
    if (found == the<Descriptors>().open.end()) return fail_with(ERROR_INVALID_HANDLE), nullptr;
    const Stream& opened = found->second;
    if ((mode[0] == u'r') != opened.reads || (mode[1] != u'b') != opened.is_text) {
        return fail_with(ERROR_INVALID_PARAMETER), nullptr;
    }
    FILE* const stream = make_stream(opened);
    if (stream == nullptr) return fail_with(ERROR_NOT_ENOUGH_MEMORY), nullptr;
    the<Descriptors>().open.erase(found);
    return stream;
}

namespace {

DWORD status_of(LPCWSTR path, struct stat& status) {
    std::string native;
    if (const DWORD error = winapi::resolve_path(path, native)) return error;
    return ::stat(native.c_str(), &status) == 0 ? ERROR_SUCCESS : winapi::path_error(native, errno);
}

DWORD make_folder(LPCWSTR path) {
    // A folder needs room in the limit for a short name within it.
    constexpr size_t folder_limit = MAX_PATH - 12;
    std::string native;
    if (const DWORD error = winapi::resolve_path(path, native)) return error;
    if (winapi::full_path_length(path) >= folder_limit) return ERROR_FILENAME_EXCED_RANGE;
    if (::mkdir(native.c_str(), 0777) == 0) return ERROR_SUCCESS;
    return errno == ENOENT ? ERROR_PATH_NOT_FOUND : winapi::error_from_errno(errno);
}

}  // namespace

int _waccess(LPCWSTR path, int mode) {
    if (access_point.fails()) return fail_with(ERROR_ACCESS_DENIED);
    struct stat status {};
    return finish_with(mode != 0 ? ERROR_INVALID_PARAMETER : status_of(path, status));
}

int _wrename(LPCWSTR from, LPCWSTR to) {
    if (rename_point.fails()) return fail_with(ERROR_ACCESS_DENIED);
    std::string source;
    std::string target;
    if (const DWORD error = winapi::resolve_path(from, source)) return fail_with(error);
    if (const DWORD error = winapi::resolve_path(to, target)) return fail_with(error);
    return finish_with(winapi::rename_file(source, target));
}

// The runtime's narrow names are in the ANSI code page, never in UTF-8. Each byte stands for the character of its
// number here, which is that of western code pages but for 27 signs.
int _mkdir(const char* path) {
    if (mkdir_point.fails()) return fail_with(ERROR_ACCESS_DENIED);
    std::u16string wide;
    for (; *path != '\0'; ++path) wide += static_cast<WCHAR>(static_cast<unsigned char>(*path));
    return finish_with(make_folder(wide.c_str()));
}

char* _getcwd(char* buffer, int size) {
    if (getcwd_point.fails()) return fail_with(ERROR_NOT_ENOUGH_MEMORY), nullptr;
    const std::string path = winapi::to_utf8(winapi::windows_path(winapi::current_folder()).c_str());
    if (path.size() >= static_cast<size_t>(size)) return fail_with(ERROR_INSUFFICIENT_BUFFER), nullptr;
    std::memcpy(buffer, path.c_str(), path.size() + 1);
    return buffer;
}

int _write(int descriptor, const void* data, unsigned int size) {
    if (write_point.fails()) return fail_with(ERROR_DISK_FULL);
    size_t written = 0;
    const DWORD error = winapi::write_all(descriptor, data, Point::shortened(size), written);
    return error == ERROR_SUCCESS || written > 0 ? static_cast<int>(written) : fail_with(error);
}

int _wstat64(LPCWSTR path, struct _stat64* status) {
    if (stat_point.fails()) return fail_with(ERROR_ACCESS_DENIED);
    struct stat native {};
    if (const DWORD error = status_of(path, native)) return fail_with(error);
    status->st_mode = S_ISDIR(native.st_mode) ? _S_IFDIR : 0;
    status->st_mtime = native.st_mtim.tv_sec;
    return 0;
}
