// The formatter: conversions with hostile arguments, against a reference that puts the same text together another way;
// and formats that are any bytes, against what holds for all of them.
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "common/format.h"
#include "fuzz/support.h"
#include "winapi/linux/handle.h"

namespace {

using fuzz::ExactBuffer;
using fuzz::Input;
using fuzz::Text;

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

// Cut at a size: the start of the text, the whole length, nothing behind the buffer.
template <typename... Arguments>
void check_cut(size_t size, const std::string& whole, const char* format, Arguments... arguments) {
    const ExactBuffer buffer(size);
    const int length = print(reinterpret_cast<char*>(buffer.get()), size, format, arguments...);
    REQUIRE(length == static_cast<int>(whole.size()));
    const size_t kept = std::min(whole.size(), size - 1);
    REQUIRE(memcmp(buffer.get(), whole.data(), kept) == 0);
    REQUIRE(buffer.get()[kept] == 0);
}

// Formats whole and at sizes where it has to be cut; the text, "refused" when the format is.
template <typename... Arguments>
std::string format_checked(const char* format, Arguments... arguments) {
    char one[1] = {'#'};
    const int length = print(one, sizeof one, format, arguments...);
    REQUIRE(one[0] == '\0' && length >= -1);
    char* allocated = nullptr;
    const int result = print_alloc(&allocated, format, arguments...);
    REQUIRE(result == (length >= 0 ? 1 : 0));
    REQUIRE((allocated != nullptr) == (result == 1));
    if (length < 0) return "refused";
    const auto size = static_cast<size_t>(length);
    const std::string whole(allocated, size);
    REQUIRE(allocated[size] == '\0');
    free(allocated);
    for (size_t cut = 1; cut <= std::min<size_t>(size + 2, 40); ++cut) check_cut(cut, whole, format, arguments...);
    for (const size_t cut : {size / 2 + 1, size + 1, size + 2}) check_cut(cut, whole, format, arguments...);
    return whole;
}

// -- One conversion --------------------------------------------------------------------------------------------------

struct Conversion {
    std::string flags;
    int width = 0;
    int precision = -1;

    std::string text(const char* length_and_type) const {
        std::string all = "%" + flags;
        if (width > 0) all += std::to_string(width);
        if (precision >= 0) all += "." + std::to_string(precision);
        return all + length_and_type;
    }
    std::string padded(std::string text) const {
        const size_t blanks = static_cast<size_t>(width) > text.size() ? static_cast<size_t>(width) - text.size() : 0;
        text.insert(flags.find('-') != std::string::npos ? text.size() : 0, blanks, ' ');
        return text;
    }
    // Only whole characters of it.
    std::string cut(std::string text) const {
        if (static_cast<size_t>(precision) >= text.size()) return text;
        auto end = static_cast<size_t>(precision);
        while (end > 0 && (text[end] & 0xC0) == 0x80) --end;
        return text.substr(0, end);
    }
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
// `ours` and `theirs` are a length and a type, of the formatter and of the runtime, which mean the same.
template <typename Number>
void check_number(const Conversion& conversion, const char* ours, const char* theirs, Number number) {
    const std::string format = conversion.text(theirs);
    std::string expected(static_cast<size_t>(snprintf(nullptr, 0, format.c_str(), number)) + 1, '\0');
    snprintf(expected.data(), expected.size(), format.c_str(), number);
    expected.back() = '|';
    REQUIRE(format_checked((conversion.text(ours) + "|").c_str(), number) == expected);
}
#pragma GCC diagnostic pop

int take_number(Input& input) {
    const uint8_t first = input.byte();
    return first < 0xF0 ? first % 40 : input.word();
}

void check_conversion(Input& input) {
    static constexpr const char* kInts[][2] = {{"d", "d"}, {"lu", "u"}, {"x", "x"},
                                               {"X", "X"}, {"o", "o"},  {"li", "i"}};
    static constexpr const char* kLongs[][2] = {{"I64d", "lld"}, {"llu", "llu"}, {"I64x", "llx"}, {"llX", "llX"}};
    static constexpr const char* kReals[] = {"f", "F", "e", "E", "g", "G"};
    Conversion conversion;
    const uint8_t flags = input.byte();
    for (size_t i = 0; i < 5; ++i) {
        if ((flags >> i & 1) != 0) conversion.flags += "-+ #0"[i];
    }
    if ((flags & 0x20) != 0) conversion.width = take_number(input);
    if ((flags & 0x40) != 0) conversion.precision = take_number(input);
    const bool is_null = (flags & 0x80) != 0;
    const uint8_t kind = input.byte();
    if (kind % 5 == 3) {
        const std::string text(input.until('\0'));
        const std::string expected =
            conversion.padded((is_null ? "(null)" : text).substr(0, static_cast<size_t>(conversion.precision)));
        REQUIRE(format_checked(conversion.text("s").c_str(), is_null ? nullptr : text.c_str()) == expected);
        return;
    }
    if (kind % 5 == 4) {
        const Text text = input.wide(input.byte());
        const std::string expected =
            conversion.padded(conversion.cut(is_null ? "(null)" : winapi::to_utf8(text.c_str())));
        REQUIRE(format_checked(conversion.text("S").c_str(), is_null ? nullptr : text.c_str()) == expected);
        return;
    }
    uint64_t bits = 0;
    const std::string_view value = input.bytes(sizeof bits);
    memcpy(&bits, value.data(), value.size());
    double real = 0;
    memcpy(&real, &bits, sizeof real);
    const auto& whole = kInts[kind / 5 % 6];
    const auto& large = kLongs[kind / 5 % 4];
    const char* const type = kReals[kind / 5 % 6];
    if (kind % 5 == 0) check_number(conversion, whole[0], whole[1], static_cast<int>(bits));
    if (kind % 5 == 1) check_number(conversion, large[0], large[1], static_cast<long long>(bits));
    if (kind % 5 == 2) check_number(conversion, type, type, real);
}

// Every argument passes for a text of either kind, for a pointer and for a number; no more conversions than there are
// arguments.
void check_any(Input& input) {
    static constexpr WCHAR kTextOfEither[4] = {W('a'), W('b'), 0, 0};
    const std::string format(input.until('\0'));
    if (std::count(format.begin(), format.end(), '%') > 8) return;
    const void* const p = kTextOfEither;
    format_checked(format.c_str(), p, p, p, 1.5, -0.0, 1e300, 2.5, 0.1, 3.0, 4.0, 5.0, p, p, p, p, p, p, p, p);
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
