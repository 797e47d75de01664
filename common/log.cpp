#include "common/log.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/global.h"
#include "common/lock.h"
#include "common/os.h"
#include "common/util.h"

namespace {

constexpr size_t kPathSize = 260;  // of the names a rotation builds

// One per process. Everything but the path is guarded by the lock, once it exists.
struct LogState {
    char path[1024];
    FILE* stream;
    uint32_t line_counter;
    bool rotating;
    OptionalLock lock;
    int64_t second;        // of the line before ...
    char second_text[64];  // ... and its text, which serves all lines of that second
};

LogState log_state;

class LogLock : LockGuard {
  public:
    LogLock() : LockGuard(log_state.lock) {}
};

// Logging happens between a failing call and the reading of its error, so it keeps the last error.
class KeepLastError {
  public:
    KeepLastError() : code_(GetLastError()) {}
    ~KeepLastError() { SetLastError(code_); }
    KeepLastError(const KeepLastError&) = delete;
    KeepLastError& operator=(const KeepLastError&) = delete;

  private:
    DWORD code_;
};

const char* word_of(int32_t level) {
    switch (level) {
        case LOG_DEV:
            return "DEV  ";
        case LOG_DEBUG:
            return "DEBUG";
        case LOG_ERROR:
            return "ERROR";
        default:
            return "INFO ";
    }
}

bool is_level_on(int32_t level) {
    if (level <= 0) return false;
    if (level == LOG_DEV) return session_context.dev_logging != 0;
    if (level == LOG_DEBUG) return session_context.debug_logging != 0;
    return true;
}

// Two source files are logged under a shorter name.
const char* shown_file(const char* file) {
    if (strcmp(file, "tessaron.cpp") == 0) return "ts.cpp";
    if (strcmp(file, "TessaronPrintService.cpp") == 0) return "TSPrintService.cpp";
    return file;
}

bool is_standard_stream(const char* path) {
    return util_streq(path, "STDOUT") || util_streq(path, "STDERR");
}

// The message goes to the debugger with a line feed behind it.
void write_to_debugger(const char* message, size_t length) {
    char stack_buffer[1024];
    auto* const text = length + 2 <= sizeof stack_buffer ? stack_buffer : static_cast<char*>(malloc(length + 2));
    if (text == nullptr) return;
    memcpy(text, message, length);
    memcpy(text + length, "\n", 2);
    OutputDebugStringA(text);
    if (text != stack_buffer) free(text);
}

// Collects the parts of a line, so that most lines reach the stream in one write.
struct LineBuffer {
    char text[1024];
    size_t length = 0;

    void put(const char* part, size_t size) {
        if (size > sizeof text - length) flush();
        if (size > sizeof text) {
            fwrite(part, 1, size, log_state.stream);
        } else {
            memcpy(text + length, part, size);
            length += size;
        }
    }
    void put(const char* part) { put(part, strlen(part)); }
    void put(uint32_t number) {
        char digits[10];
        char* const end = digits + sizeof digits;
        const char* const first = util_put_decimal(end, number);
        put(first, static_cast<size_t>(end - first));
    }
    void flush() {
        fwrite(text, 1, length, log_state.stream);
        length = 0;
    }
};

char digit(uint32_t number) {
    return static_cast<char>('0' + number % 10);
}

// "2026-03-01 09:05:07,042"
void put_time(LineBuffer& out) {
    const int64_t now = os_get_time();
    const int64_t second = now / 1000;
    if (second != log_state.second || log_state.second_text[0] == '\0') {
        os_get_second_string(log_state.second_text, sizeof log_state.second_text, second);
        log_state.second = second;
    }
    out.put(log_state.second_text);
    const auto milliseconds = static_cast<uint32_t>(now - second * 1000);
    const char text[] = {',', digit(milliseconds / 100), digit(milliseconds / 10), digit(milliseconds)};
    out.put(text, sizeof text);
}

// Counts a line; true when it is one that checks the size of the file.
bool is_rotation_check_due() {
    const uint32_t count = log_state.line_counter++;
    const auto every = static_cast<uint32_t>(session_context.log_rotate_check_count);
    return every != 0 && count % every == 0;
}

}  // namespace

void log_init_lock() {
    log_state.lock.create();
}

void log_free_lock() {
    log_state.lock.destroy();
}

void log_set_path(const char* path) {
    log_close();
    const LogLock lock;
    log_state.stream = nullptr;  // a standard stream is left without being closed
    util_strncpy(log_state.path, path, sizeof log_state.path);
}

void log_open() {
    const KeepLastError keep;
    const LogLock lock;
    if (log_state.stream != nullptr) log_close();
    if (util_is_string_empty(log_state.path)) return;
    if (util_streq(log_state.path, "STDOUT")) {
        log_state.stream = stdout;
    } else if (util_streq(log_state.path, "STDERR")) {
        log_state.stream = stderr;
    } else {
        log_state.stream = os_fopen(log_state.path, "a");
    }
}

void log_close() {
    const KeepLastError keep;
    if (is_standard_stream(log_state.path)) return;
    const LogLock lock;
    if (log_state.stream != nullptr) fclose(log_state.stream);
    log_state.stream = nullptr;
}

namespace {

// Writes to the file; opens it and checks its size when that is due.
void write_line(const char* level_word, const char* file, int line, const char* message, size_t length) {
    if (util_is_string_empty(log_state.path)) return;
    const LogLock lock;
    if (is_rotation_check_due()) {
        log_rotate(static_cast<uint32_t>(session_context.log_rotate_number), log_rotate_limit());
    }
    if (log_state.stream == nullptr) log_open();
    if (log_state.stream == nullptr) return;

    const bool detailed = session_context.debug_logging != 0;
    LineBuffer out;
    put_time(out);
    out.put(" ");
    out.put(level_word);
    out.put(": ");
    if (detailed && file != nullptr) {
        out.put(shown_file(file));
        out.put(":");
        out.put(static_cast<uint32_t>(line));
        out.put(" - ");
    }
    out.put(message, length);
    if (detailed) {
        out.put(" [");
        out.put(GetCurrentThreadId());
        out.put("]");
    }
    out.put("\n");
    out.flush();
    fflush(log_state.stream);
}

}  // namespace

void log_write(const char* level_word, const char* file, int line, const char* message) {
    const KeepLastError keep;
    const size_t length = strlen(message);
    write_to_debugger(message, length);
    write_line(level_word, file, line, message, length);
}

void log_plain(LogLevel level, const char* file, int line, const char* format, ...) {
    const KeepLastError keep;
    va_list arguments;
    va_start(arguments, format);
    // Nearly every message fits here, with a line feed for the debugger; a longer one is allocated.
    char stack_buffer[512];
    const int length = util_vsnprintf(stack_buffer, sizeof stack_buffer - 1, format, arguments);
    char* heap_buffer = nullptr;
    if (length >= 0 && static_cast<size_t>(length) < sizeof stack_buffer - 1) {
        memcpy(stack_buffer + length, "\n", 2);
        OutputDebugStringA(stack_buffer);
        write_line(word_of(level), file, line, stack_buffer, static_cast<size_t>(length));
    } else if (length >= 0 && util_vasprintf(&heap_buffer, format, arguments)) {
        log_write(word_of(level), file, line, heap_buffer);
    }
    va_end(arguments);
    free(heap_buffer);
}

void log_with_code(LogLevel level, const char* file, int line, uint32_t code, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    log_message(level, file, line, code, format, arguments);
    va_end(arguments);
}

void log_message(int32_t level, const char* file, int line, uint32_t code, const char* format, va_list arguments) {
    if (!is_level_on(level)) return;
    const KeepLastError keep;
    char* message = nullptr;
    if (!util_vasprintf(&message, format, arguments)) return;
    char joined[512];
    os_format_error(code, joined, sizeof joined, message);
    log_write(word_of(level), file, line, joined);
    free(message);
}

// -- Rotation --------------------------------------------------------------------------------------------------------

namespace {

// "<log path>.<number>"; false when it does not fit.
bool numbered_path(char (&path)[kPathSize], uint32_t number) {
    return util_snprintf(path, sizeof path, "%s.%lu", log_state.path, number) < static_cast<int>(kPathSize);
}

// 1 when the file is larger than the limit, 0 when it is not, -1 when its size cannot be read.
int is_log_too_large(uint32_t limit, int64_t& size) {
    if (!os_file_size(log_state.path, &size)) {
        log_debug_last_error(LOG_HERE, "Unable to determine file size for rotation of \"%s\"", log_state.path);
        return -1;
    }
    if (static_cast<uint64_t>(size) > limit) return 1;
    log_debug(LOG_HERE, "No log rotation as current size is %lu, rotation size is %lu, counter is %lu",
              static_cast<uint32_t>(size), limit, log_state.line_counter);
    return 0;
}

// Closes the log file and renames it to make room for the next one.
bool set_log_aside(const char* tmp, int64_t size) {
    log_close();
    if (os_file_exists(tmp) && !os_file_delete(tmp)) {
        log_debug_last_error(LOG_HERE, "Unable to delete temp file \"%s\" for rotation of \"%s\"", tmp, log_state.path);
        return false;
    }
    if (!os_rename(log_state.path, tmp)) {
        log_debug_last_error(LOG_HERE, "Unable to rename log file to \"%s\" for rotation of  \"%s\"", tmp,
                             log_state.path);
        return false;
    }
    log_dev(LOG_HERE, "Log rotation: rename \"%s\" to \"%s\" at size: %lu", log_state.path, tmp,
            static_cast<uint32_t>(size));
    return true;
}

bool move_log(const char* from, const char* to) {
    log_dev(LOG_HERE, "Log rotation: rename \"%s\" to \"%s\"", from, to);
    if (os_rename(from, to)) return true;
    log_debug_last_error(LOG_HERE, "Unable to rename \"%s\" to \"%s\" for rotation of \"%s\"", from, to,
                         log_state.path);
    return false;
}

// Deletes a numbered file that is the oldest one to be kept, or moves it up by one.
bool move_up(uint32_t number, uint32_t oldest) {
    char from[kPathSize];
    char to[kPathSize];
    numbered_path(from, number);
    if (number < oldest) {
        numbered_path(to, number + 1);
        return move_log(from, to);
    }
    log_dev(LOG_HERE, "Log rotation: unlink \"%s\"", from);
    if (os_file_delete(from)) return true;
    log_debug_last_error(LOG_HERE, "Unable to delete old rotated log of \"%s\"", log_state.path);
    return false;
}

// All numbered files that are there, the highest number first; false when any of them could not be moved.
bool move_numbered_files_up(uint32_t oldest) {
    bool done = true;
    OsNumbers there;
    if (os_list_numbers(log_state.path, &there)) {
        for (size_t i = 0; i < there.count; ++i) {
            if (there.numbers[i] <= oldest && !move_up(there.numbers[i], oldest)) done = false;
        }
        free(there.numbers);
        return done;
    }
    // Without the right to list the directory each number is tried; only so many, since all other threads wait
    // meanwhile.
    constexpr uint32_t kMostAsked = 1000;
    char path[kPathSize];
    for (uint32_t number = oldest < kMostAsked ? oldest : kMostAsked; number > 0; --number) {
        numbered_path(path, number);
        if (os_file_exists(path) && !move_up(number, oldest)) done = false;
    }
    return done;
}

// The caller holds the log lock.
int rotate_under_lock(uint32_t number, uint32_t limit) {
    log_debug(LOG_HERE, "Perform log rotation if required.");
    if (number <= 1) return 1;
    int64_t size = 0;
    const int too_large = is_log_too_large(limit, size);
    if (too_large <= 0) return too_large == 0 ? 1 : 0;

    char tmp[kPathSize];
    char first[kPathSize];
    if (util_snprintf(tmp, sizeof tmp, "%s.tmp", log_state.path) >= static_cast<int>(sizeof tmp) ||
        !numbered_path(first, number)) {
        log_debug(LOG_HERE, "No log rotation as the path is too long for numbered files: \"%s\"", log_state.path);
        return 0;
    }
    if (!set_log_aside(tmp, size)) return 0;
    const bool moved_up = move_numbered_files_up(number);
    numbered_path(first, 1);
    if (!move_log(tmp, first) || !moved_up) return 0;
    log_debug(LOG_HERE, "Successfully rotated log");
    return 1;
}

}  // namespace

int log_rotate(uint32_t number, uint32_t limit) {
    if (is_standard_stream(log_state.path)) return 1;
    const KeepLastError keep;
    const LogLock lock;
    if (log_state.rotating) return 1;  // re-entered from a line that the rotation itself logs
    log_state.rotating = true;
    const int result = rotate_under_lock(number, limit);
    log_state.rotating = false;
    return result;
}

uint32_t log_rotate_limit() {
    const uint64_t bytes = static_cast<uint64_t>(static_cast<uint32_t>(session_context.log_rotate_size_kbytes)) * 1024;
    return bytes > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(bytes);
}
