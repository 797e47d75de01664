// The process-wide log: print-monitor.log in the base directory, one line per message, rotated by size into numbered
// files; and the debugger output, which gets every message that is written.
//
// A call is log_debug(LOG_HERE, "TSM: get addr for %S", address). Formats are those of common/format.h and are checked
// against their arguments while compiling. No logging function reports a failure, and none changes the thread's last
// error. All may be called from any thread; a call for a disabled level costs one branch.
#pragma once

#include <cstdint>

#include "common/format.h"
#include "common/global.h"

// The place of a log call: the source file's name without its folder, and the line.
#define LOG_HERE __FILE_NAME__, __LINE__

enum LogLevel : int32_t { LOG_DEV = 1, LOG_DEBUG = 2, LOG_INFO = 3, LOG_ERROR = 4 };

// -- The log itself --------------------------------------------------------------------------------------------------

// Creates the log lock, once; later calls do nothing. Until then, and when it cannot be created, the log works without
// one.
void log_init_lock();
// Deletes the lock when the library is unloaded. No other thread may be logging.
void log_free_lock();

// The file written from the next line on, copied (at most 1023 bytes); empty: none. "STDOUT" and "STDERR" name the
// process's standard streams. Closes the file that was open.
void log_set_path(const char* path);
// Opens the log file, or reopens it; the next line does so too when the file is closed. While the file cannot be opened
// lines still go to the debugger output.
void log_open();
void log_close();

// Moves the log file to number 1, and each numbered file up by one, when it is larger than `limit` bytes. `number` is
// how many numbered files are kept; 0 and 1 never rotate. Returns 1 when nothing had to be done or all of it was done,
// else 0. Takes the log lock; does nothing when called from inside a rotation. Its cost depends on the number of files
// that exist, not on `number`.
int log_rotate(uint32_t number, uint32_t limit);
// The setting LogRotateSizeKBytes in bytes; what does not fit in 32 bits is the largest number that does.
uint32_t log_rotate_limit();

// Writes one finished message under a level word; `file` may be null.
void log_write(const char* level_word, const char* file, int line, const char* message);

// Writes a message followed by the system's text for `code`. Levels 1 and 2 are written when their setting is on, 0 and
// below never.
void log_message(int32_t level, const char* file, int line, uint32_t code, const char* format, va_list arguments);

// -- The calls -------------------------------------------------------------------------------------------------------

// The functions behind the checked calls below.
void log_plain(LogLevel level, const char* file, int line, const char* format, ...);
void log_with_code(LogLevel level, const char* file, int line, uint32_t code, const char* format, ...);

template <typename... Arguments>
void log_error(const char* file, int line, FormatString<std::type_identity_t<Arguments>...> format,
               Arguments... arguments) {
    log_plain(LOG_ERROR, file, line, format.text, arguments...);
}

template <typename... Arguments>
void log_info(const char* file, int line, FormatString<std::type_identity_t<Arguments>...> format,
              Arguments... arguments) {
    log_plain(LOG_INFO, file, line, format.text, arguments...);
}

template <typename... Arguments>
void log_debug(const char* file, int line, FormatString<std::type_identity_t<Arguments>...> format,
               Arguments... arguments) {
    if (session_context.debug_logging != 0) [[unlikely]]
        log_plain(LOG_DEBUG, file, line, format.text, arguments...);
}

template <typename... Arguments>
void log_dev(const char* file, int line, FormatString<std::type_identity_t<Arguments>...> format,
             Arguments... arguments) {
    if (session_context.dev_logging != 0) [[unlikely]]
        log_plain(LOG_DEV, file, line, format.text, arguments...);
}

// A text that another function logs for its caller, with the place where it is written: LOG_TEXT("TSM: ..."). One that
// is empty leaves no line.
struct LogText {
    const char* text;
    const char* file;
    int line;
};
#define LOG_TEXT(text) \
    LogText {          \
        text, LOG_HERE \
    }

inline void log_error(const LogText& text) {
    if (text.text != nullptr) log_error(text.file, text.line, "%s", text.text);
}

inline void log_dev(const LogText& text) {
    if (text.text != nullptr) log_dev(text.file, text.line, "%s", text.text);
}

// A failure that may repeat itself: an error when it is the first of its kind, else a debug line.
template <typename... Arguments>
void log_failure(bool first, const char* file, int line, FormatString<std::type_identity_t<Arguments>...> format,
                 Arguments... arguments) {
    if (first) {
        log_error(file, line, format, arguments...);
    } else {
        log_debug(file, line, format, arguments...);
    }
}

// These append the system's text for an error code: the thread's last error as it is on entry, or the one given.
template <typename... Arguments>
void log_debug_last_error(const char* file, int line, FormatString<std::type_identity_t<Arguments>...> format,
                          Arguments... arguments) {
    log_with_code(LOG_DEBUG, file, line, GetLastError(), format.text, arguments...);
}

template <typename... Arguments>
void log_error_last_error(const char* file, int line, FormatString<std::type_identity_t<Arguments>...> format,
                          Arguments... arguments) {
    log_with_code(LOG_ERROR, file, line, GetLastError(), format.text, arguments...);
}

template <typename... Arguments>
void log_error_code(const char* file, int line, uint32_t code, FormatString<std::type_identity_t<Arguments>...> format,
                    Arguments... arguments) {
    log_with_code(LOG_ERROR, file, line, code, format.text, arguments...);
}

template <typename... Arguments>
void log_failure_last_error(bool first, const char* file, int line,
                            FormatString<std::type_identity_t<Arguments>...> format, Arguments... arguments) {
    log_with_code(first ? LOG_ERROR : LOG_DEBUG, file, line, GetLastError(), format.text, arguments...);
}

inline void log_error_last_error(const LogText& text) {
    if (text.text != nullptr) log_error_last_error(text.file, text.line, "%s", text.text);
}
