// Bounded text, comparison, file names and counted strings.
#pragma once

#include <cstddef>
#include <cstdint>

#include "winapi/winapi.h"

// Copies at most size - 1 bytes, fills the rest with zeros and always terminates. `size` is at least 1.
char* util_strncpy(char* destination, const char* source, size_t size);

// Appends what fits; `size` is the destination's, including what is in it. A destination that is already full stays
// unchanged, and an error is logged.
char* util_strncat(char* destination, const char* source, size_t size);

// 1 when equal, byte for byte or ignoring letter case; 0 otherwise, and when either is null.
int util_streq(const char* left, const char* right);
int util_strieq(const char* left, const char* right);

inline bool util_is_string_empty(const char* text) {
    return text == nullptr || text[0] == '\0';
}

// The leading decimal number of a text, blanks and a sign before it allowed, clamped to 32 bits. Returns 1; or 0, and a
// *number of 0, when there is no digit.
int util_parse_int(const char* text, int32_t* number);

// Replaces, in place, every character that Windows file names forbid ("*/:<>?\|) by an underscore.
void util_sanitize_filename(char* text);

// Removes one line feed at the end, in place.
void util_strip_newline(char* text);

// The characters of a wide text, at most `limit`: of a field that may lack its terminator.
inline size_t util_wcsnlen(const WCHAR* text, size_t limit) {
    size_t length = 0;
    while (length < limit && text[length] != 0) ++length;
    return length;
}

// The thread's last error, of a failed call that may not have set one: `otherwise` in place of success.
inline DWORD util_last_error_or(DWORD otherwise) {
    const DWORD error = GetLastError();
    return error != ERROR_SUCCESS ? error : otherwise;
}

// -- Counted strings -------------------------------------------------------------------------------------------------

// Owned, with its data, by its creator; freed with counted_destroy.
struct CountedString {
    int32_t capacity;  // bytes allocated for data
    int32_t length;    // bytes of text without the terminator; negative: invalid
    char* data;
};

// What the comparisons below return for a string that is null, has a negative length or no data.
constexpr int COUNTED_INVALID = -32768;

// Null when the text is null or too long, or memory runs out.
CountedString* counted_from_cstr(const char* text);
// A new terminated text, which the caller frees; null for an invalid string.
char* counted_to_cstr(const CountedString* string);
// 0 when equal ignoring the case of ASCII letters.
int counted_icmp(const CountedString* left, const CountedString* right);
// The same for at most the first `count` characters.
int counted_nicmp(const CountedString* left, const CountedString* right, int count);
// 0, or -1 for an invalid string.
int counted_destroy(CountedString* string);
