// Conversion between the system's UTF-8 and the UTF-16 of the Windows interfaces (code page 65001).
#pragma once

#include <cstddef>

#include "winapi/winapi.h"

// Returns 1 and a new heap text in *out, which the caller frees; or 0 and a null *out.
int enc_wide_to_utf8_alloc(char** out, const WCHAR* text);

// Into `destination` of `size` bytes, cut to size - 1 bytes. A null or empty text leaves the destination untouched and
// returns 1; a destination that is null or has no size, and a failed conversion, return 0.
int enc_wide_to_utf8(char* destination, size_t size, const WCHAR* text);

constexpr size_t kWidePathSize = 260;  // MAX_PATH: the platform's path limit, terminator included

// Into a buffer of 260 characters; what does not fit in 259 is cut off. Returns 0, with an empty destination, when the
// text cannot be converted.
int enc_utf8_to_wide(WCHAR* destination, const char* text);

// Returns a new heap text, which the caller frees; null when the text is null or cannot be converted.
WCHAR* enc_utf8_to_wide_alloc(const char* text);
