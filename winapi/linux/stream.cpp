// The C runtime's part of file.h: streams, and the calls that report through errno.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>

#include "winapi/linux/control.h"
#include "winapi/linux/error.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/file.h"
#include "winapi/linux/file_internal.h"
#include "winapi/linux/handle.h"

namespace {

winapi::fault::Point open_point("_wopen");
winapi::fault::Point stream_open_point("_wfdopen");
winapi::fault::Point stream_read_point("fread");
winapi::fault::Point stream_write_point("fwrite");
winapi::fault::Point stream_close_point("fclose");
winapi::fault::Point access_point("_waccess");
winapi::fault::Point rename_point("_wrename");
winapi::fault::Point mkdir_point("_mkdir");
winapi::fault::Point getcwd_point("_getcwd");
winapi::fault::Point write_point("_write");
winapi::fault::Point stat_point("_wstat64");

constexpr char end_of_text = 0x1A;  // Ctrl-Z

// The runtime's errno for a reason of the system.
int errno_from_error(DWORD error) {
    switch (error) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_NO_MORE_FILES:
        case ERROR_FILENAME_EXCED_RANGE:
        case 53:  // no such server
            return ENOENT;
        case ERROR_TOO_MANY_OPEN_FILES:
            return EMFILE;
        case ERROR_ACCESS_DENIED:
        case ERROR_CANNOT_MAKE:
            return EACCES;
        case ERROR_INVALID_HANDLE:
            return EBADF;
        case ERROR_NOT_ENOUGH_MEMORY:
            return ENOMEM;
        case 17:  // another drive
            return EXDEV;
        case ERROR_FILE_EXISTS:
        case ERROR_ALREADY_EXISTS:
            return EEXIST;
        case ERROR_BROKEN_PIPE:
        case ERROR_NO_DATA:
            return EPIPE;
        case ERROR_DISK_FULL:
            return ENOSPC;
        case ERROR_DIR_NOT_EMPTY:
            return ENOTEMPTY;
        default:
            return error >= 19 && error <= 36 ? EACCES : EINVAL;
    }
}

// Sets errno and the last error and returns -1.
int fail_with(DWORD error) {
    SetLastError(error);
    errno = errno_from_error(error);
    return -1;
}

// --- streams

// A file opened by _wopen that is not a stream yet. It counts as an open handle until it is closed.
struct Descriptor {
    std::shared_ptr<winapi::OpenFile> file;
    HANDLE handle;
    bool reads;
    bool text;
};

struct Descriptors {
    std::mutex mutex;
    std::map<int, Descriptor> open;
};

Descriptors& descriptors() {
    static Descriptors* const instance = new Descriptors;  // outlives every static of the process
    return *instance;
}

// What the stdio callbacks work on; lives until the stream is closed.
struct Stream {
    // Binary streams: stdio's buffer, large because it determines the size of the writes. Text: data to be written.
    std::array<char, 65536> buffer;
    std::shared_ptr<winapi::OpenFile> file;
    HANDLE handle = nullptr;  // makes a stream that was not closed show up as an open handle
    // Text reading: bytes of the file that have not been looked at.
    std::array<char, 8192> raw;
    size_t raw_next = 0;
    size_t raw_end = 0;
    bool ended = false;  // Ctrl-Z was read

    int descriptor() const { return file->descriptor(); }
};

// Writes with CR LF for LF; the bytes of `data` that were dealt with in `consumed`.
DWORD write_text(Stream& stream, std::string_view data, size_t& consumed) {
    consumed = 0;
    while (consumed < data.size()) {
        char* const out = stream.buffer.data();
        size_t used = 0;
        size_t next = consumed;
        while (next < data.size() && used + 2 < stream.buffer.size()) {
            // A run of characters that stay as they are, then a line's end.
            const size_t end = std::min(data.find('\n', next), data.size());
            const size_t run = std::min(end - next, stream.buffer.size() - 2 - used);
            std::memcpy(out + used, data.data() + next, run);
            used += run;
            next += run;
            if (next != end || end == data.size()) continue;
            out[used++] = '\r';
            out[used++] = data[next++];
        }
        size_t written = 0;
        if (const DWORD error = winapi::write_all(stream.descriptor(), out, used, written)) return error;
        consumed = next;
    }
    return ERROR_SUCCESS;
}

template <bool text>
ssize_t stream_write(void* cookie, const char* data, size_t size) {
    auto& stream = *static_cast<Stream*>(cookie);
    if (stream_write_point.fails()) {
        fail_with(ERROR_DISK_FULL);
        return 0;
    }
    const size_t wanted = stream_write_point.shortened(static_cast<unsigned>(size));
    size_t consumed = 0;
    DWORD error = text ? write_text(stream, {data, wanted}, consumed)
                       : winapi::write_all(stream.descriptor(), data, wanted, consumed);
    if (error == ERROR_SUCCESS && consumed < size) error = ERROR_DISK_FULL;
    if (error != ERROR_SUCCESS) fail_with(error);
    return static_cast<ssize_t>(consumed);
}

// Reads on behind the bytes that are left; their number grows unless the file has ended.
DWORD refill(Stream& stream) {
    const size_t left = stream.raw_end - stream.raw_next;
    std::memmove(stream.raw.data(), stream.raw.data() + stream.raw_next, left);
    stream.raw_next = 0;
    stream.raw_end = left;
    size_t count = 0;
    const DWORD error =
        winapi::read_some(stream.descriptor(), stream.raw.data() + left, stream.raw.size() - left, count);
    stream.raw_end += count;
    return error;
}

// Reads with LF for CR LF and up to the first Ctrl-Z, in at least one byte unless the text has ended.
DWORD read_text(Stream& stream, char* out, size_t size, size_t& count) {
    count = 0;
    while (count < size && !stream.ended) {
        if (stream.raw_next == stream.raw_end) {
            if (count > 0) break;
            if (const DWORD error = refill(stream)) return error;
            if (stream.raw_next == stream.raw_end) break;
        }
        const char c = stream.raw[stream.raw_next];
        if (c == end_of_text) {
            stream.ended = true;
            break;
        }
        if (c == '\r' && stream.raw_next + 1 == stream.raw_end) {
            if (const DWORD error = refill(stream)) return error;
        }
        ++stream.raw_next;
        const bool pair = c == '\r' && stream.raw_next < stream.raw_end && stream.raw[stream.raw_next] == '\n';
        if (!pair) out[count++] = c;
    }
    return ERROR_SUCCESS;
}

template <bool text>
ssize_t stream_read(void* cookie, char* out, size_t size) {
    auto& stream = *static_cast<Stream*>(cookie);
    if (stream_read_point.fails()) return fail_with(ERROR_READ_FAULT);
    const size_t wanted = stream_read_point.shortened(static_cast<unsigned>(size));
    size_t count = 0;
    const DWORD error =
        text ? read_text(stream, out, wanted, count) : winapi::read_some(stream.descriptor(), out, wanted, count);
    if (error != ERROR_SUCCESS && error != ERROR_BROKEN_PIPE) return fail_with(error);
    return static_cast<ssize_t>(count);
}

int seek_stream(void* cookie, off64_t* offset, int from) {
    const off64_t result = ::lseek64(static_cast<Stream*>(cookie)->descriptor(), *offset, from);
    if (result < 0) return -1;
    *offset = result;
    return 0;
}

// Places in a text that is being read have no simple relation to those in the file.
int refuse_seek(void*, off64_t*, int) {
    errno = ESPIPE;
    return -1;
}

int close_stream(void* cookie) {
    const bool fails = stream_close_point.fails();
    const std::unique_ptr<Stream> stream(static_cast<Stream*>(cookie));
    const DWORD error = winapi::close_handle(stream->handle);
    if (fails) return fail_with(ERROR_DISK_FULL);
    return error == ERROR_SUCCESS ? 0 : fail_with(error);
}

// The three ways that _wopen knows; false for any other.
bool parse_flags(int flags, winapi::OpenRequest& request) {
    constexpr DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE;
    switch (flags & ~(_O_TEXT | _O_BINARY | _O_NOINHERIT)) {
        case _O_RDONLY:
            request = {GENERIC_READ, share, OPEN_EXISTING, false, "stream"};
            break;
        case _O_WRONLY | _O_CREAT | _O_TRUNC:
            request = {GENERIC_WRITE, share, CREATE_ALWAYS, false, "stream"};
            break;
        case _O_WRONLY | _O_CREAT | _O_APPEND:
            request = {GENERIC_WRITE, share, OPEN_ALWAYS, true, "stream"};
            break;
        default:
            return false;
    }
    return ((flags & _O_TEXT) != 0) != ((flags & _O_BINARY) != 0);
}

DWORD open_descriptor(LPCWSTR path, const winapi::OpenRequest& request, std::shared_ptr<winapi::OpenFile>& file) {
    std::string native;
    if (const DWORD error = winapi::resolve_path(path, native)) return error;
    bool existed = false;
    return winapi::open_file(native, request, file, existed);
}

FILE* make_stream(const Descriptor& descriptor) {
    auto stream = std::make_unique_for_overwrite<Stream>();
    stream->file = descriptor.file;
    stream->handle = descriptor.handle;
    const bool text = descriptor.text;
    cookie_io_functions_t functions{};
    functions.read = text ? stream_read<true> : stream_read<false>;
    functions.write = text ? stream_write<true> : stream_write<false>;
    functions.seek = descriptor.reads && text ? refuse_seek : seek_stream;
    functions.close = close_stream;
    // O_APPEND does the appending; to stdio it is one more stream that is written.
    FILE* const file = ::fopencookie(stream.get(), descriptor.reads ? "r" : "w", functions);
    if (file == nullptr) return nullptr;
    if (!text) ::setvbuf(file, stream->buffer.data(), _IOFBF, stream->buffer.size());
    static_cast<void>(stream.release());  // owned by close_stream from here on
    return file;
}

// The mode that a descriptor was opened for; appending is writing here.
bool fits(LPCWSTR mode, const Descriptor& descriptor) {
    if (mode == nullptr || (mode[0] == u'r') != descriptor.reads) return false;
    return std::u16string_view(mode + 1) == (descriptor.text ? u"" : u"b");
}

unsigned short runtime_mode(const struct stat& status) {
    constexpr unsigned short readable = 0x100;
    constexpr unsigned short writable = 0x80;
    return static_cast<unsigned short>((S_ISDIR(status.st_mode) ? _S_IFDIR : _S_IFREG) | readable |
                                       (winapi::is_read_only(status) ? 0 : writable));
}

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

int _wopen(LPCWSTR path, int flags, int /*permissions*/) {
    if (open_point.fails()) return fail_with(ERROR_ACCESS_DENIED);
    winapi::OpenRequest request{};
    if (!parse_flags(flags, request)) return fail_with(ERROR_INVALID_PARAMETER);
    std::shared_ptr<winapi::OpenFile> file;
    if (const DWORD error = open_descriptor(path, request, file)) return fail_with(error);
    file->inheritable = (flags & _O_NOINHERIT) == 0;
    const int number = file->descriptor();
    const HANDLE handle = winapi::insert_handle(file);
    const std::lock_guard lock(descriptors().mutex);
    descriptors().open[number] =
        Descriptor{std::move(file), handle, request.access == GENERIC_READ, (flags & _O_TEXT) != 0};
    return number;
}

int _close(int descriptor) {
    std::unique_lock lock(descriptors().mutex);
    const auto found = descriptors().open.extract(descriptor);
    lock.unlock();
    if (found.empty()) return fail_with(ERROR_INVALID_HANDLE);
    const DWORD error = winapi::close_handle(found.mapped().handle);
    return error == ERROR_SUCCESS ? 0 : fail_with(error);
}

FILE* _wfdopen(int descriptor, LPCWSTR mode) {
    if (stream_open_point.fails()) return fail_with(ERROR_TOO_MANY_OPEN_FILES), nullptr;
    const std::lock_guard lock(descriptors().mutex);
    const auto found = descriptors().open.find(descriptor);
    if (found == descriptors().open.end()) return fail_with(ERROR_INVALID_HANDLE), nullptr;
    if (!fits(mode, found->second)) return fail_with(ERROR_INVALID_PARAMETER), nullptr;
    FILE* const stream = make_stream(found->second);
    if (stream == nullptr) return fail_with(ERROR_NOT_ENOUGH_MEMORY), nullptr;
    descriptors().open.erase(found);
    return stream;
}

int _waccess(LPCWSTR path, int mode) {
    constexpr int reads = 4;
    constexpr int writes = 2;
    if (access_point.fails()) return fail_with(ERROR_ACCESS_DENIED);
    if ((mode & ~(reads | writes)) != 0) return fail_with(ERROR_INVALID_PARAMETER);
    std::string native;
    if (const DWORD error = winapi::resolve_path(path, native)) return fail_with(error);
    struct stat status {};
    // The runtime promises an errno, and that is one for a missing file and a missing folder: which of them is not
    // asked.
    if (::stat(native.c_str(), &status) != 0) {
        return fail_with(errno == ENOENT ? ERROR_FILE_NOT_FOUND : winapi::error_from_errno(errno));
    }
    const bool refused = (mode & writes) != 0 && !S_ISDIR(status.st_mode) && winapi::is_read_only(status);
    return refused ? fail_with(ERROR_ACCESS_DENIED) : 0;
}

int _wrename(LPCWSTR from, LPCWSTR to) {
    if (rename_point.fails()) return fail_with(ERROR_ACCESS_DENIED);
    std::string source;
    std::string target;
    if (const DWORD error = winapi::resolve_path(from, source)) return fail_with(error);
    if (const DWORD error = winapi::resolve_path(to, target)) return fail_with(error);
    const DWORD error = winapi::rename_file(source, target);
    return error == ERROR_SUCCESS ? 0 : fail_with(error);
}

// The runtime's narrow names are in the ANSI code page, never in UTF-8. Each byte stands for the character of its
// number here, which is that of western code pages but for 27 signs.
int _mkdir(const char* path) {
    if (mkdir_point.fails()) return fail_with(ERROR_ACCESS_DENIED);
    std::u16string wide;
    for (; path != nullptr && *path != '\0'; ++path) wide += static_cast<WCHAR>(static_cast<unsigned char>(*path));
    const DWORD error = make_folder(path == nullptr ? nullptr : wide.c_str());
    return error == ERROR_SUCCESS ? 0 : fail_with(error);
}

char* _getcwd(char* buffer, int size) {
    if (getcwd_point.fails()) return fail_with(ERROR_NOT_ENOUGH_MEMORY), nullptr;
    if (buffer == nullptr || size <= 0) return fail_with(ERROR_INVALID_PARAMETER), nullptr;
    const std::string path = winapi::to_utf8(winapi::windows_path(winapi::current_folder()).c_str());
    if (path.size() >= static_cast<size_t>(size)) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        errno = ERANGE;
        return nullptr;
    }
    std::memcpy(buffer, path.c_str(), path.size() + 1);
    return buffer;
}

int _write(int descriptor, const void* data, unsigned int size) {
    if (write_point.fails()) return fail_with(ERROR_DISK_FULL);
    if (::fcntl(descriptor, F_GETFD) < 0) return fail_with(ERROR_INVALID_HANDLE);
    size_t written = 0;
    const DWORD error = winapi::write_all_quietly(descriptor, data, write_point.shortened(size), written);
    return error == ERROR_SUCCESS || written > 0 ? static_cast<int>(written) : fail_with(error);
}

int _wstat64(LPCWSTR path, struct _stat64* status) {
    if (stat_point.fails()) return fail_with(ERROR_ACCESS_DENIED);
    if (status == nullptr) return fail_with(ERROR_INVALID_PARAMETER);
    struct stat native {};
    if (const DWORD error = status_of(path, native)) return fail_with(error);
    status->st_mode = runtime_mode(native);
    status->st_size = S_ISDIR(native.st_mode) ? 0 : native.st_size;
    status->st_mtime = native.st_mtim.tv_sec;
    return 0;
}
