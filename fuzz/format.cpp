// The formatter: conversions with hostile arguments, numbers compared with the runtime's; and formats that are any
// bytes.
#include <bit>
#include <cstdio>

#include "common/format.h"
#include "fuzz/support.h"

namespace {

using fuzz::Input;

int print(char* buffer, size_t size, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = util_vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

int print_alloc(char** out, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = util_vasprintf(out, format, arguments);
    va_end(arguments);
    return result;
}

// The text, "refused" when the format is. Cut at any size it is the start of that text, and nothing is written behind
// the buffer.
template <typename... Arguments>
std::string format_checked(const std::string& format, Arguments... arguments) {
    char* allocated = nullptr;
    const int result = print_alloc(&allocated, format.c_str(), arguments...);
    REQUIRE(result == (allocated != nullptr ? 1 : 0));
    const std::string whole = allocated != nullptr ? allocated : "refused";
    free(allocated);
    for (const size_t size : {size_t{1}, size_t{2}, whole.size() / 2 + 1, whole.size(), whole.size() + 1}) {
        std::vector<char> buffer(std::max(size, size_t{1}), '#');
        const int length = print(buffer.data(), buffer.size(), format.c_str(), arguments...);
        const size_t kept = result == 1 ? std::min(whole.size(), buffer.size() - 1) : 0;
        REQUIRE(length == (result == 1 ? static_cast<int>(whole.size()) : -1));
        REQUIRE(std::string_view(buffer.data()) == whole.substr(0, kept));
    }
    return whole;
}

// The beginning of a conversion, with the flags, the width and the precision that the input asks for.
std::string take_modifiers(Input& input, uint8_t asked) {
    std::string text = "%";
    const auto number = [&input] {
        const uint8_t first = input.byte();
        return std::to_string(first < 0xF0 ? first % 40 : input.word());
    };
    for (size_t i = 0; i < 5; ++i) {
        if ((asked >> i & 1) != 0) text += "-+ #0"[i];
    }
    const std::string width = (asked & 0x20) != 0 ? number() : "0";
    if (width != "0") text += width;  // it would be a flag
    return (asked & 0x40) != 0 ? text + "." + number() : text;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
template <typename Value>
std::string runtime_text(const std::string& format, Value value) {
    std::string text(static_cast<size_t>(snprintf(nullptr, 0, format.c_str(), value)) + 1, '\0');
    snprintf(text.data(), text.size(), format.c_str(), value);
    text.pop_back();
    return text;
}
#pragma GCC diagnostic pop

// A conversion of the formatter, and the runtime's that means the same.
struct Conversion {
    const char* ours;
    const char* theirs;
};

template <typename Number>
void check_number(const std::string& begin, const Conversion& conversion, Number number) {
    REQUIRE(format_checked(begin + conversion.ours, number) == runtime_text(begin + conversion.theirs, number));
}

void check_conversion(Input& input) {
    static constexpr Conversion kInts[] = {{"d", "d"}, {"lu", "u"}, {"x", "x"}, {"X", "X"}, {"o", "o"}, {"li", "i"}};
    static constexpr Conversion kLongs[] = {{"I64d", "lld"}, {"llu", "llu"}, {"I64x", "llx"}, {"llX", "llX"}};
    static constexpr Conversion kReals[] = {{"f", "f"}, {"F", "F"}, {"e", "e"}, {"E", "E"}, {"g", "g"}, {"G", "G"}};
    const uint8_t asked = input.byte();
    const std::string begin = take_modifiers(input, asked);
    const bool is_null = (asked & 0x80) != 0;
    const uint8_t kind = input.byte();
    if (kind % 5 == 3) {
        const std::string text(input.until('\0'));
        format_checked(begin + "s", is_null ? nullptr : text.c_str());
    } else if (kind % 5 == 4) {
        const fuzz::Text text = input.wide(input.byte());
        format_checked(begin + "S", is_null ? nullptr : text.c_str());
    }
    if (kind % 5 >= 3) return;
    uint64_t bits = 0;
    const std::string_view value = input.bytes(sizeof bits);
    memcpy(&bits, value.data(), value.size());
    if (kind % 5 == 0) check_number(begin, kInts[kind / 5 % 6], static_cast<int>(bits));
    if (kind % 5 == 1) check_number(begin, kLongs[kind / 5 % 4], static_cast<long long>(bits));
    if (kind % 5 == 2) check_number(begin, kReals[kind / 5 % 6], std::bit_cast<double>(bits));
}

// Every argument passes for a text of either kind, for a pointer and for a number; no more conversions than there are
// arguments.
void check_any(Input& input) {
    static constexpr WCHAR kTextOfEither[4] = {W('a'), W('b'), 0, 0};
    const std::string format(input.until('\0'));
    if (std::count(format.begin(), format.end(), '%') > 8) return;
    const void* const p = kTextOfEither;
    format_checked(format, p, p, p, 1.5, -0.0, 1e300, 2.5, 0.1, 3.0, 4.0, 5.0, p, p, p, p, p, p, p, p);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    if (input.byte() % 2 != 0) {
        check_any(input);
        return 0;
    }
    while (!input.empty()) check_conversion(input);
    return 0;
}
