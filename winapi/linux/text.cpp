#include "winapi/linux/text.h"

#include <strings.h>

#include <clocale>
#include <cwctype>
#include <string_view>

#include "winapi/linux/error.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/handle.h"

namespace {

winapi::fault::Point to_wide_point("MultiByteToWideChar");
winapi::fault::Point to_bytes_point("WideCharToMultiByte");

constexpr char32_t replacement = 0xFFFD;
// Marks a malformed sequence; no valid text decodes to it.
constexpr char32_t malformed = 0xFFFFFFFF;

bool is_surrogate(char32_t c) {
    return c >= 0xD800 && c <= 0xDFFF;
}

struct Utf8Lead {
    int trailing;  // bytes that follow
    unsigned char low,
        high;  // of the first of them: keeps out overlong forms, surrogates and what is beyond U+10FFFF
};

Utf8Lead classify(unsigned char lead) {
    if (lead < 0xC2 || lead > 0xF4) return {-1, 0, 0};
    if (lead < 0xE0) return {1, 0x80, 0xBF};
    if (lead == 0xE0) return {2, 0xA0, 0xBF};
    if (lead == 0xED) return {2, 0x80, 0x9F};
    if (lead < 0xF0) return {2, 0x80, 0xBF};
    if (lead == 0xF0) return {3, 0x90, 0xBF};
    if (lead == 0xF4) return {3, 0x80, 0x8F};
    return {3, 0x80, 0xBF};
}

// Takes one character off the front; of a malformed sequence the longest part that a good one could begin
// with.
char32_t next(std::string_view& text) {
    const auto lead = static_cast<unsigned char>(text.front());
    text.remove_prefix(1);
    if (lead < 0x80) return lead;
    const Utf8Lead kind = classify(lead);
    if (kind.trailing < 0) return malformed;
    char32_t c = lead & (0x3Fu >> kind.trailing);
    for (int i = 0; i < kind.trailing; ++i) {
        if (text.empty()) return malformed;
        const auto byte = static_cast<unsigned char>(text.front());
        if (byte < (i == 0 ? kind.low : 0x80) || byte > (i == 0 ? kind.high : 0xBF)) return malformed;
        c = c << 6 | (byte & 0x3Fu);
        text.remove_prefix(1);
    }
    return c;
}

char32_t next(std::u16string_view& text) {
    const char32_t c = text.front();
    text.remove_prefix(1);
    if (!is_surrogate(c)) return c;
    if (c >= 0xDC00 || text.empty() || text.front() < 0xDC00 || text.front() > 0xDFFF) return malformed;
    const char32_t low = text.front();
    text.remove_prefix(1);
    return 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
}

template <typename Put>
void encode(char32_t c, char, Put put) {
    const int trailing = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    put(static_cast<char>(trailing == 0 ? c : 0xFF00u >> (trailing + 1) | c >> 6 * trailing));
    for (int i = trailing - 1; i >= 0; --i) put(static_cast<char>(0x80 | (c >> 6 * i & 0x3F)));
}

template <typename Put>
void encode(char32_t c, WCHAR, Put put) {
    if (c < 0x10000) {
        put(static_cast<WCHAR>(c));
    } else {
        put(static_cast<WCHAR>(0xD800 + ((c - 0x10000) >> 10)));
        put(static_cast<WCHAR>(0xDC00 + ((c - 0x10000) & 0x3FF)));
    }
}

// Hands every unit of the converted text to `put`.
template <typename To, typename From, typename Put>
void convert(std::basic_string_view<From> text, Put put) {
    while (!text.empty()) {
        const char32_t c = next(text);
        encode(c == malformed ? replacement : c, To{}, put);
    }
}

// The part that both directions share, after their flags have been looked at.
template <typename From, typename To>
int convert_into(UINT code_page, const From* text, int size, To* out, int out_size) {
    if (code_page != CP_UTF8) return winapi::fail(ERROR_INVALID_PARAMETER);
    const size_t length = size < 0 ? std::char_traits<From>::length(text) + 1 : static_cast<size_t>(size);
    int count = 0;
    convert<To>(std::basic_string_view<From>(text, length), [&](To unit) {
        if (count < out_size) out[count] = unit;
        ++count;
    });
    if (out_size > 0 && count > out_size) return winapi::fail(ERROR_INSUFFICIENT_BUFFER);
    return count;
}

}  // namespace

int MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR text, int size, LPWSTR out, int out_size) {
    if (to_wide_point.fails()) return winapi::fail(ERROR_NOT_ENOUGH_MEMORY);
    if (flags != 0) return winapi::fail(ERROR_INVALID_PARAMETER);
    return convert_into(code_page, text, size, out, out_size);
}

int WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR text, int size, LPSTR out, int out_size,
                        LPCSTR default_char, BOOL* used_default) {
    if (to_bytes_point.fails()) return winapi::fail(ERROR_NOT_ENOUGH_MEMORY);
    if (flags != 0 || default_char != nullptr || used_default != nullptr) return winapi::fail(ERROR_INVALID_PARAMETER);
    return convert_into(code_page, text, size, out, out_size);
}

int lstrlenW(LPCWSTR text) {
    return static_cast<int>(std::char_traits<WCHAR>::length(text));
}

int lstrcmpiW(LPCWSTR left, LPCWSTR right) {
    while (*left != 0 && (*left == *right || winapi::fold_case(*left) == winapi::fold_case(*right))) {
        ++left;
        ++right;
    }
    return winapi::fold_case(*left) - winapi::fold_case(*right);
}

int _stricmp(const char* left, const char* right) {
    return ::strcasecmp(left, right);
}

namespace winapi {

WCHAR fold_case(WCHAR c) {
    if (c < 0x80) return c >= u'a' && c <= u'z' ? static_cast<WCHAR>(c - 32) : c;
    static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (unicode == nullptr || is_surrogate(c)) return c;
    const wint_t upper = towupper_l(c, unicode);
    return upper >= 0x80 && upper < 0x10000 ? static_cast<WCHAR>(upper) : c;
}

std::u16string to_utf16(const std::string& text) {
    std::u16string result;
    convert<WCHAR>(std::string_view(text), [&result](WCHAR unit) { result.push_back(unit); });
    return result;
}

std::string to_utf8(LPCWSTR text) {
    std::string result;
    convert<char>(std::u16string_view(text), [&result](char unit) { result.push_back(unit); });
    return result;
}

}  // namespace winapi
