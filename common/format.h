// The only formatter of the system, the same code in both builds: printf's conversions, with Windows' meaning where the
// platforms differ. %S takes UTF-16 and yields UTF-8 whatever the locale (an unpaired surrogate becomes U+FFFD), `l`
// means 32 bits, `ll` and `I64` 64 bits, %p sixteen hexadecimal digits. A null text is "(null)". %n is refused.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "winapi/winapi.h"

// Formats into a new heap buffer, which the caller frees. Returns 1; or 0 and a null *out when the format is malformed
// or memory runs out.
int util_vasprintf(char** out, const char* format, va_list arguments);

// Formats into `buffer` of `size` bytes (at least 1), cut to size - 1 bytes and always terminated. Returns the length
// of the whole text, which is `size` or more when it was cut; -1 for a malformed format, with an empty buffer.
int util_vsnprintf(char* buffer, size_t size, const char* format, va_list arguments);

// Writes the decimal digits of a number, 20 at most, so that the last one stands before `end`; returns the first.
char* util_put_decimal(char* end, uint64_t number);

// -- Formats checked against their arguments while compiling ---------------------------------------------------------

namespace format_check {

enum class Kind { int32, int64, real, text, wide_text, pointer, other };

template <typename T>
consteval Kind kind_of() {
    using Pointee = std::remove_cv_t<std::remove_pointer_t<T>>;
    if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
        return sizeof(T) <= 4 ? Kind::int32 : Kind::int64;
    } else if constexpr (std::is_floating_point_v<T>) {
        return sizeof(T) <= sizeof(double) ? Kind::real : Kind::other;
    } else if constexpr (std::is_pointer_v<T> && std::is_same_v<Pointee, char>) {
        return Kind::text;
    } else if constexpr (std::is_pointer_v<T> && std::is_same_v<Pointee, WCHAR>) {
        return Kind::wide_text;
    } else if constexpr (std::is_pointer_v<T>) {
        return Kind::pointer;
    } else {
        return Kind::other;
    }
}

// Not constexpr: reaching it ends the compilation with its name in the error.
void format_does_not_match_its_arguments();

consteval bool one_of(char character, const char* set) {
    for (; *set != '\0'; ++set) {
        if (*set == character) return true;
    }
    return false;
}

consteval bool accepts(char conversion, bool wide64, Kind kind) {
    if (one_of(conversion, "diuxXoc")) return kind == (wide64 ? Kind::int64 : Kind::int32);
    if (one_of(conversion, "fFeEgG")) return kind == Kind::real;
    if (conversion == 's') return kind == Kind::text;
    if (conversion == 'S') return kind == Kind::wide_text;
    return conversion == 'p' && (kind == Kind::pointer || kind == Kind::text || kind == Kind::wide_text);
}

consteval void check(const char* format, const Kind* kinds, size_t count) {
    size_t next = 0;
    while (*format != '\0') {
        if (*format++ != '%') continue;
        if (*format == '%') {
            ++format;
            continue;
        }
        while (one_of(*format, "-+ #0123456789.")) ++format;
        bool wide64 = false;
        if (format[0] == 'I' && format[1] == '6' && format[2] == '4') {
            wide64 = true;
            format += 3;
        } else if (format[0] == 'l' && format[1] == 'l') {
            wide64 = true;
            format += 2;
        } else if (format[0] == 'l') {
            ++format;
        }
        if (next == count || !accepts(*format, wide64, kinds[next])) format_does_not_match_its_arguments();
        ++next;
        ++format;
    }
    if (next != count) format_does_not_match_its_arguments();
}

}  // namespace format_check

// A literal format that takes arguments of exactly these types.
template <typename... Arguments>
struct FormatString {
    template <size_t N>
    consteval FormatString(const char (&format)[N]) : text(format) {  // NOLINT(google-explicit-constructor)
        const format_check::Kind kinds[] = {format_check::kind_of<Arguments>()..., format_check::Kind::other};
        format_check::check(format, kinds, sizeof...(Arguments));
    }
    const char* text;
};

// util_vsnprintf with a checked format.
int util_snprintf_unchecked(char* buffer, size_t size, const char* format, ...);

template <typename... Arguments>
int util_snprintf(char* buffer, size_t size, FormatString<std::type_identity_t<Arguments>...> format,
                  Arguments... arguments) {
    return util_snprintf_unchecked(buffer, size, format.text, arguments...);
}
