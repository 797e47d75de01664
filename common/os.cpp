#include "common/os.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>

#include "common/enc.h"
#include "common/log.h"
#include "common/tessaron.h"
#include "common/util.h"

namespace {

constexpr size_t kPathSize = 260;
constexpr size_t kEntryNameSize = 1024;
constexpr size_t kComputerNameSize = 1024;
constexpr int kDeleteTries = 60;
constexpr DWORD kDeleteRetryMs = 5000;

// A UTF-8 text as UTF-16 for one call; null when it cannot be converted. Paths up to kPathSize need no allocation.
class WideText {
  public:
    explicit WideText(const char* text) {
        if (text == nullptr) return;
        if (MultiByteToWideChar(CP_UTF8, 0, text, -1, stack_buffer_, kPathSize) > 0) {
            text_ = stack_buffer_;
        } else if (GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
            text_ = heap_buffer_ = enc_utf8_to_wide_alloc(text);
        }
    }
    ~WideText() { free(heap_buffer_); }
    WideText(const WideText&) = delete;
    WideText& operator=(const WideText&) = delete;
    const WCHAR* get() const { return text_; }

  private:
    WCHAR stack_buffer_[kPathSize];
    WCHAR* heap_buffer_ = nullptr;
    const WCHAR* text_ = nullptr;
};

// How often os_file_delete_with_retry was called and had to wait; they serve its log line only.
std::atomic<int> num_deletes{0};
std::atomic<int> num_delete_fails{0};
std::atomic<int> most_delete_retries{0};

bool ends_in(const char* text, const char* characters) {
    const size_t length = strlen(text);
    return length > 0 && strchr(characters, text[length - 1]) != nullptr;
}

// The flags of an open for a stream's mode. Never inherited: a helper that is started meanwhile would keep the file
// open, and until it ends the log could not be rotated, nor a record be deleted.
int open_flags(const char* mode) {
    const int kind = (mode[1] == 'b' ? _O_BINARY : _O_TEXT) | _O_NOINHERIT;
    switch (mode[0]) {
        case 'w':
            return kind | _O_WRONLY | _O_CREAT | _O_TRUNC;
        case 'a':
            return kind | _O_WRONLY | _O_CREAT | _O_APPEND;
        default:
            return kind | _O_RDONLY;
    }
}

}  // namespace

int os_cat_path(char* out, size_t size, const char* directory, const char* name) {
    if (out == nullptr || (directory == nullptr && name == nullptr)) {
        log_error(LOG_HERE, "os_cat_path: invalid params: path=%p,size=%u,dir='%s',fname='%s'", out,
                  static_cast<unsigned>(size), directory, name);
        return 0;
    }
    out[0] = '\0';
    if (directory != nullptr) {
        util_strncpy(out, directory, size);
        if (!ends_in(directory, "\\")) util_strncat(out, "\\", size);
    }
    if (name != nullptr) util_strncat(out, name, size);
    return 1;
}

FILE* os_fopen(const char* path, const char* mode) {
    if (util_is_string_empty(path)) {
        UTIL_FAILED_ASSERTION("!util_is_string_empty(pathname)");
        SetLastError(ERROR_PATH_NOT_FOUND);
        return nullptr;
    }
    const WideText wide_mode(mode);
    const WideText wide_path(path);
    if (wide_mode.get() == nullptr || wide_path.get() == nullptr) return nullptr;
    const int descriptor = _wopen(wide_path.get(), open_flags(mode), _S_IREAD | _S_IWRITE);
    if (descriptor < 0) return nullptr;
    FILE* const stream = _wfdopen(descriptor, wide_mode.get());
    if (stream == nullptr) {
        const DWORD error = GetLastError();
        _close(descriptor);
        SetLastError(error);
    }
    return stream;
}

int os_file_exists(const char* path) {
    char cut[kPathSize];
    util_strncpy(cut, path, sizeof cut);
    if (ends_in(cut, "\\/")) cut[strlen(cut) - 1] = '\0';
    const WideText wide(cut);
    return wide.get() != nullptr && _waccess(wide.get(), 0) == 0 ? 1 : 0;
}

int os_file_size(const char* path, int64_t* size) {
    *size = -1;
    const WideText wide(path);
    const HANDLE file = wide.get() == nullptr
                            ? INVALID_HANDLE_VALUE
                            : CreateFileW(wide.get(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        log_error_last_error(LOG_HERE, "Unable to open file to determine file size: %S", wide.get());
        return 0;
    }
    LARGE_INTEGER bytes;
    const BOOL known = GetFileSizeEx(file, &bytes);
    if (known) {
        *size = bytes.QuadPart;
        CloseHandle(file);
        return 1;
    }
    log_error_last_error(LOG_HERE, "Unable to determine file size: %S", wide.get());
    const DWORD error = GetLastError();
    CloseHandle(file);
    SetLastError(error);
    return 0;
}

int os_file_delete(const char* path) {
    const WideText wide(path);
    return wide.get() != nullptr ? DeleteFileW(wide.get()) : 0;
}

int os_file_delete_with_retry(const char* path) {
    ++num_deletes;
    for (int tries = 0; !os_file_delete(path);) {
        if (GetLastError() != ERROR_SHARING_VIOLATION) return 0;
        ++num_delete_fails;
        ++tries;
        if (tries > most_delete_retries) most_delete_retries = tries;
        if (tries == kDeleteTries) return 0;
        log_error_last_error(LOG_HERE,
                             "os_file_delete_with_retry: filename='%s',num_tries=%d,retry_delay_ms=%u,retry=%d,"
                             "num_deletes=%d,num_delete_fails=%d,most_delete_retries=%d",
                             path, kDeleteTries, kDeleteRetryMs, tries, num_deletes.load(), num_delete_fails.load(),
                             most_delete_retries.load());
        Sleep(kDeleteRetryMs);
    }
    return 1;
}

int os_rename(const char* old_path, const char* new_path) {
    WCHAR wide_old[kWidePathSize];
    WCHAR wide_new[kWidePathSize];
    if (!enc_utf8_to_wide(wide_old, old_path)) {
        log_error(LOG_HERE, "Unable to encode path, \"%s\"", old_path);
        return 0;
    }
    if (!enc_utf8_to_wide(wide_new, new_path)) {
        log_error(LOG_HERE, "Unable to encode path, \"%s\"", new_path);
        return 0;
    }
    return _wrename(wide_old, wide_new) == 0 ? 1 : 0;
}

namespace {

// Status of a path of any length; false when it cannot be read.
bool file_status(const char* path, struct _stat64* status) {
    const WideText wide(path);
    return wide.get() != nullptr && _wstat64(wide.get(), status) == 0;
}

bool is_directory(const char* path) {
    struct _stat64 status;
    return file_status(path, &status) && (status.st_mode & _S_IFMT) == _S_IFDIR;
}

}  // namespace

int os_mkdir(const char* path) {
    // The narrow function reads the path in the system's own code page: so it is called only when needed.
    if (is_directory(path)) return 1;
    if (_mkdir(path) == 0) return 1;
    if (errno == EEXIST) return is_directory(path) ? 1 : 0;
    log_debug_last_error(LOG_HERE, "Failed to create directory: \"%s\"", path);
    return 0;
}

OsDirectory* os_dir_open(const char* directory, char* first_name) {
    auto* const opened = static_cast<OsDirectory*>(malloc(sizeof(OsDirectory)));
    if (opened == nullptr) {
        log_error(LOG_HERE, "Unable to allocate os dir handle\n");
        return nullptr;
    }
    opened->find = INVALID_HANDLE_VALUE;
    char pattern[kPathSize];
    WCHAR wide_pattern[kWidePathSize];
    WIN32_FIND_DATAW entry;
    util_snprintf(pattern, sizeof pattern, "%s/*", directory);
    if (!enc_utf8_to_wide(wide_pattern, pattern)) {
        log_error(LOG_HERE, "Unable to encode path, \"%s\"", directory);
    } else if ((opened->find = FindFirstFileW(wide_pattern, &entry)) == INVALID_HANDLE_VALUE) {
        log_error_last_error(LOG_HERE, "Unable to open directory, \"%s\"", directory);
    } else if (!enc_wide_to_utf8(first_name, kEntryNameSize, entry.cFileName)) {
        log_error(LOG_HERE, "Unable to encode path dir entry");
        FindClose(opened->find);
    } else {
        return opened;
    }
    free(opened);
    return nullptr;
}

int os_file_mtime(const char* path, int64_t* modified) {
    WCHAR wide[kWidePathSize];
    if (!enc_utf8_to_wide(wide, path)) {
        log_error(LOG_HERE, "Unable to encode path, \"%s\"", path);
        return 0;
    }
    struct _stat64 status;
    if (_wstat64(wide, &status) != 0) return 0;
    *modified = status.st_mtime;
    return 1;
}

namespace {

// False when the callback ended the enumeration.
bool visit_entry(const char* directory, const char* name, DirEntryCallback callback) {
    if (util_streq(name, ".") || util_streq(name, "..")) return true;
    char path[kPathSize];
    os_cat_path(path, sizeof path, directory, name);
    if (is_directory(path)) {
        log_dev(LOG_HERE, "skipping dir: %s", path);
        return true;
    }
    int64_t modified = 0;
    if (!os_file_mtime(path, &modified)) {
        log_dev(LOG_HERE, "Unable to get mtime for path, \"%s\", for dir scan", path);
        return true;
    }
    log_dev(LOG_HERE, "Processing entry \"%s\"", path);
    log_dev(LOG_HERE, "Calling callback for \"%s\"", name);
    return callback(path, modified) != 0;
}

bool next_name(const OsDirectory* opened, char (&name)[kEntryNameSize]) {
    WIN32_FIND_DATAW entry;
    if (!FindNextFileW(opened->find, &entry)) return false;
    if (enc_wide_to_utf8(name, sizeof name, entry.cFileName)) return true;
    log_error(LOG_HERE, "Unable to encode path dir entry");
    return false;
}

}  // namespace

int os_dir_forall(const char* directory, DirEntryCallback callback) {
    log_dev(LOG_HERE, "Forall files in directory: %s", directory);
    char name[kEntryNameSize];
    OsDirectory* const opened = os_dir_open(directory, name);
    if (opened == nullptr) return 0;
    while (visit_entry(directory, name, callback) && next_name(opened, name)) {
    }
    FindClose(opened->find);
    free(opened);
    return 1;
}

// -- Numbered files --------------------------------------------------------------------------------------------------

namespace {

// The number in "<name>.<number>", written as the numbers of a rotation are; 0 for any other file.
uint32_t number_of(char* file, const char* name) {
    const size_t length = strlen(name);
    if (strlen(file) < length + 2 || file[length] != '.') return 0;
    file[length] = '\0';
    const char* const digits = file + length + 1;
    if (!util_strieq(file, name) || digits[0] == '0' || strlen(digits) > 10) return 0;
    uint64_t number = 0;
    for (const char* digit = digits; *digit != '\0'; ++digit) {
        if (*digit < '0' || *digit > '9') return 0;
        number = number * 10 + static_cast<uint64_t>(*digit - '0');
    }
    return number <= UINT32_MAX ? static_cast<uint32_t>(number) : 0;
}

bool add_number(OsNumbers* found, uint32_t number) {
    constexpr size_t kStep = 64;
    if (number == 0) return true;
    if (found->count % kStep == 0) {
        void* const grown = realloc(found->numbers, (found->count + kStep) * sizeof *found->numbers);
        if (grown == nullptr) return false;
        found->numbers = static_cast<uint32_t*>(grown);
    }
    found->numbers[found->count++] = number;
    return true;
}

}  // namespace

int os_list_numbers(const char* path, OsNumbers* found) {
    *found = OsNumbers{};
    const char* name = path + strlen(path);
    while (name != path && strchr("\\/:", name[-1]) == nullptr) --name;
    const auto directory_length = static_cast<size_t>(name - path);
    char pattern[kPathSize] = "*";
    if (directory_length + 2 > sizeof pattern) return 0;
    memcpy(pattern, path, directory_length);
    memcpy(pattern + directory_length, "*", 2);
    const WideText wide_pattern(pattern);
    WIN32_FIND_DATAW entry;
    const HANDLE find =
        wide_pattern.get() == nullptr ? INVALID_HANDLE_VALUE : FindFirstFileW(wide_pattern.get(), &entry);
    if (find == INVALID_HANDLE_VALUE) return 0;
    char file[kEntryNameSize];
    bool complete = true;
    do {
        complete =
            enc_wide_to_utf8(file, sizeof file, entry.cFileName) != 0 && add_number(found, number_of(file, name));
    } while (complete && FindNextFileW(find, &entry));
    complete = complete && GetLastError() == ERROR_NO_MORE_FILES;
    FindClose(find);
    if (complete) {
        std::sort(found->numbers, found->numbers + found->count, std::greater<>());
        return 1;
    }
    free(found->numbers);
    *found = OsNumbers{};
    return 0;
}

int os_get_computer_name(char* out) {
    log_dev(LOG_HERE, "entering os_get_computer_name");
    WCHAR name[kComputerNameSize];
    DWORD size = kComputerNameSize;
    if (!GetComputerNameW(name, &size)) {
        log_error_last_error(LOG_HERE, "Unable to get computer name");
        return 0;
    }
    if (!enc_wide_to_utf8(out, kComputerNameSize, name)) return 0;
    for (char* letter = out; *letter != '\0'; ++letter) {
        if (*letter >= 'A' && *letter <= 'Z') *letter = static_cast<char>(*letter - 'A' + 'a');
    }
    log_debug(LOG_HERE, "got computer name of: \"%s\"", out);
    return 1;
}
