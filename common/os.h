// Files, directories, names and times of the operating system. Every path is UTF-8 and becomes UTF-16 on its way to
// Windows. A failure gives a 0 result (null for a stream) and leaves the last error as the failing call set it, so that
// the caller can log it; functions that log a failure say so.
#pragma once

#include <cstdint>
#include <cstdio>

#include "winapi/winapi.h"

// Joins directory and name with one backslash into `out` of `size` bytes; what does not fit is cut. Either may be null,
// not both; an empty directory gives a result that begins with a backslash. Returns 1, or 0, logged, for invalid
// arguments.
int os_cat_path(char* out, size_t size, const char* directory, const char* name);

// A standard stream, or null. Modes "r", "w" and "a", each with "b" too; without "b" the stream translates line ends.
// No child process inherits it.
FILE* os_fopen(const char* path, const char* mode);

// 1 when the path names a file or a directory; one separator at its end does not matter.
int os_file_exists(const char* path);

// 1 and the size in bytes; 0 and a size of -1, logged.
int os_file_size(const char* path, int64_t* size);

// Non-zero on success; on failure the last error says why (32: the file is open elsewhere).
int os_file_delete(const char* path);

// As os_file_delete, but waits while another process has the file open: up to 60 attempts, 5 seconds apart, each
// logged.
int os_file_delete_with_retry(const char* path);

// 1 on success; fails when the new path exists.
int os_rename(const char* old_path, const char* new_path);

// One level; 1 when the directory exists afterwards. Logged, unless a file is in the way.
int os_mkdir(const char* path);

// A directory that is being listed; owned by the walk.
struct OsDirectory {
    HANDLE find;
};
// Starts a listing and gives its first entry's name, in a buffer of 1024 bytes; null, logged, when there is no such
// directory.
OsDirectory* os_dir_open(const char* directory, char* first_name);

// Seconds since 1970-01-01 UTC.
int os_file_mtime(const char* path, int64_t* modified);

// Receives an entry's full path and modification time; 0 ends the walk.
using DirEntryCallback = int (*)(const char* path, int64_t modified);
// Calls back for every entry but sub-directories, in the system's order. 1 when the directory could be opened.
int os_dir_forall(const char* directory, DirEntryCallback callback);

// Which of the files "<path>.1", "<path>.2" and so on exist, the highest number first. The caller frees the
// numbers.
struct OsNumbers {
    uint32_t* numbers;
    size_t count;
};
// 1; or 0, with nothing to free and not logged, when the directory cannot be listed or memory runs out.
int os_list_numbers(const char* path, OsNumbers* found);

// The computer's name, lower case, into a buffer of 1024 bytes. A failure is logged.
int os_get_computer_name(char* out);

// The local time as "2021-03-09 14:07:02,481". Returns 0.
int os_get_time_string(char* buffer, size_t size);
// Its parts, for callers that reuse the text of a second: the time in milliseconds since 1970-01-01 UTC, and
// the local time of a second since then as "2021-03-09 14:07:02".
int64_t os_get_time();
void os_get_second_string(char* buffer, size_t size, int64_t seconds);

constexpr size_t kErrorTextSize = 512;
// The system's text for an error code, in UTF-8, without its line break; a text of our own when the system has none
// (the last error is then the code itself).
void os_get_error_string(uint32_t code, char (&buffer)[kErrorTextSize]);

// "<message> - <system text> (Error: <code>)", cut to size - 1 bytes.
void os_format_error(uint32_t code, char* buffer, size_t size, const char* message);
