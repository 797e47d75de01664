#include "common/enc.h"

#include <cstdlib>
#include <cstring>

#include "common/tessaron.h"
#include "common/util.h"

int enc_wide_to_utf8_alloc(char** out, const WCHAR* text) {
    *out = nullptr;
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 0) return 0;
    auto* const buffer = static_cast<char*>(malloc(static_cast<size_t>(size)));
    if (buffer == nullptr) return 0;
    if (WideCharToMultiByte(CP_UTF8, 0, text, -1, buffer, size, nullptr, nullptr) == 0) {
        free(buffer);
        return 0;
    }
    *out = buffer;
    return 1;
}

int enc_wide_to_utf8(char* destination, size_t size, const WCHAR* text) {
    if (size == 0) {
        UTIL_FAILED_ASSERTION("destSize > 0");
        return 0;
    }
    if (destination == nullptr) {
        UTIL_FAILED_ASSERTION("szDest != NULL");
        return 0;
    }
    if (text == nullptr) {
        UTIL_FAILED_ASSERTION("szSrc != NULL");
        return 1;
    }
    if (text[0] == 0) return 1;
    destination[0] = '\0';
    char* converted = nullptr;
    if (!enc_wide_to_utf8_alloc(&converted, text)) return 0;
    util_strncpy(destination, converted, size);
    free(converted);
    return 1;
}

WCHAR* enc_utf8_to_wide_alloc(const char* text) {
    if (text == nullptr) return nullptr;
    const int size = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
    if (size <= 0) return nullptr;
    auto* const buffer = static_cast<WCHAR*>(malloc(static_cast<size_t>(size) * sizeof(WCHAR)));
    if (buffer == nullptr) return nullptr;
    if (MultiByteToWideChar(CP_UTF8, 0, text, -1, buffer, size) == 0) {
        free(buffer);
        return nullptr;
    }
    return buffer;
}

int enc_utf8_to_wide(WCHAR* destination, const char* text) {
    if (destination == nullptr) {
        UTIL_FAILED_ASSERTION("szDest != NULL");
        return 0;
    }
    destination[0] = 0;
    WCHAR* const converted = enc_utf8_to_wide_alloc(text);
    if (converted == nullptr) return 0;
    size_t length = 0;
    while (length < kWidePathSize - 1 && converted[length] != 0) ++length;
    memcpy(destination, converted, length * sizeof(WCHAR));
    destination[length] = 0;
    free(converted);
    return 1;
}
