#include "common/util.h"
#include "common/log.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>

char* util_strncpy(char* destination, const char* source, size_t size) {
    const size_t length = std::min(strlen(source), size - 1);
    memcpy(destination, source, length);
    memset(destination + length, 0, size - length);
    return destination;
}

char* util_strncat(char* destination, const char* source, size_t size) {
    const size_t n_dest = strlen(destination);
    const size_t n_src = strlen(source);
    log_dev(LOG_HERE, "n_dest=%d, n_src=%d, size=%d", static_cast<int>(n_dest), static_cast<int>(n_src),
            static_cast<int>(size));
    log_dev(LOG_HERE, "dest=\"%s\"", destination);
    log_dev(LOG_HERE, "src=\"%s\"", source);
    if (n_dest + n_src < size) {
        memcpy(destination + n_dest, source, n_src + 1);
    } else if (n_dest + 1 >= size) {
        log_error(LOG_HERE,
                  "IMPORTANT string at `dest` is already longer than `size`, it is likely a bug on the caller side. "
                  "This may cause various issues down the road!");
    } else {
        util_strncpy(destination + n_dest, source, size - n_dest);
    }
    return destination;
}

int util_streq(const char* left, const char* right) {
    if (left == nullptr || right == nullptr) return 0;
    return left == right || strcmp(left, right) == 0 ? 1 : 0;
}

int util_strieq(const char* left, const char* right) {
    if (left == nullptr || right == nullptr) return 0;
    return left == right || _stricmp(left, right) == 0 ? 1 : 0;
}

int util_parse_int(const char* text, int32_t* number) {
    char* end = nullptr;
    const long long value = strtoll(text, &end, 10);
    *number = static_cast<int32_t>(std::clamp<long long>(value, INT32_MIN, INT32_MAX));
    return end != text ? 1 : 0;
}

void util_sanitize_filename(char* text) {
    for (; *text != '\0'; ++text) {
        if (strchr("\"*/:<>?\\|", *text) != nullptr) *text = '_';
    }
}

void util_strip_newline(char* text) {
    const size_t length = strlen(text);
    if (length > 0 && text[length - 1] == '\n') text[length - 1] = '\0';
}

// -- Counted strings -------------------------------------------------------------------------------------------------

namespace {

bool is_valid(const CountedString* string) {
    return string != nullptr && string->length >= 0 && string->data != nullptr;
}

// A byte as the comparisons see it: ASCII letters lowered, signed.
int lowered(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return static_cast<signed char>(byte < 128 ? tolower(byte) : byte);
}

// The first difference within `count` characters.
int first_difference(const CountedString* left, const CountedString* right, int count) {
    for (int i = 0; i < count; ++i) {
        const int difference = lowered(left->data[i]) - lowered(right->data[i]);
        if (difference != 0) return difference;
    }
    return 0;
}

// What the longer string has behind their common part of `count` characters, negated for the right one.
int rest_difference(const CountedString* left, const CountedString* right, int count) {
    if (left->length == right->length) return 0;
    return left->length > right->length ? lowered(left->data[count]) : -lowered(right->data[count]);
}

}  // namespace

CountedString* counted_from_cstr(const char* text) {
    if (text == nullptr) return nullptr;
    const size_t length = strlen(text);
    if (length > INT32_MAX / 4) return nullptr;
    const auto needed = static_cast<int32_t>(length == 0 ? 2 : length + 1);
    int32_t capacity = 8;
    if (needed >= 8) {
        while (capacity <= needed) capacity *= 2;
    }
    auto* const string = static_cast<CountedString*>(malloc(sizeof(CountedString)));
    auto* const data = static_cast<char*>(malloc(static_cast<size_t>(capacity)));
    if (string == nullptr || data == nullptr) {
        free(string);
        free(data);
        return nullptr;
    }
    memcpy(data, text, length + 1);
    string->capacity = capacity;
    string->length = static_cast<int32_t>(length);
    string->data = data;
    return string;
}

char* counted_to_cstr(const CountedString* string) {
    if (!is_valid(string)) return nullptr;
    const auto length = static_cast<size_t>(string->length);
    auto* const text = static_cast<char*>(malloc(length + 1));
    if (text == nullptr) return nullptr;
    memcpy(text, string->data, length);
    text[length] = '\0';
    return text;
}

int counted_icmp(const CountedString* left, const CountedString* right) {
    if (!is_valid(left) || !is_valid(right)) return COUNTED_INVALID;
    if (left->length == right->length && left->data == right->data) return 0;
    const int common = std::min(left->length, right->length);
    const int difference = first_difference(left, right, common);
    return difference != 0 ? difference : rest_difference(left, right, common);
}

int counted_nicmp(const CountedString* left, const CountedString* right, int count) {
    if (!is_valid(left) || !is_valid(right) || count < 0) return COUNTED_INVALID;
    const int common = std::min({count, left->length, right->length});
    const int difference = first_difference(left, right, common);
    if (difference != 0 || common == count) return difference;
    return rest_difference(left, right, common);
}

int counted_destroy(CountedString* string) {
    if (!is_valid(string) || string->capacity <= 0) return -1;
    free(string->data);
    free(string);
    return 0;
}
