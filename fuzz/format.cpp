// The formatter: any bytes as a format, and any number; what the runtime formats too comes out the same.
#include <bit>
#include <cstdio>
#include <regex>

#include "common/format.h"
#include "fuzz/support.h"

namespace {

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

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
template <typename Number>
void check_against_runtime(const std::string& format, Number number) {
    std::string text(static_cast<size_t>(snprintf(nullptr, 0, format.c_str(), number)) + 1, '\0');
    snprintf(text.data(), text.size(), format.c_str(), number);
    text.pop_back();
    REQUIRE(format_checked(format, number) == text);
}
#pragma GCC diagnostic pop

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::regex one("%[-+ #0]{0,5}([1-9][0-9]{0,3})?(\\.[0-9]{0,3})?(ll[dux]|[dixXofFeEgGsS])");
    // Passes for a text of either kind, for a pointer and for a number.
    static constexpr WCHAR kTextOfEither[4] = {W('a'), W('b'), 0, 0};
    fuzz::Input input(data, size);
    const std::string format(input.until('\0'));
    if (!std::regex_match(format, one)) {
        if (std::count(format.begin(), format.end(), '%') > 8) return 0;  // more than there are arguments
        const void* const p = kTextOfEither;
        format_checked(format, p, p, p, 1.5, -0.0, 1e300, 2.5, 0.1, 3.0, 4.0, 5.0, p, p, p, p, p, p, p, p);
        return 0;
    }
    const char type = format.back();
    if (type == 's') format_checked(format, std::string(input.until('\0')).c_str());
    if (type == 'S') format_checked(format, input.wide(100).c_str());
    if (type == 's' || type == 'S') return 0;
    uint64_t bits = 0;
    const std::string_view value = input.bytes(sizeof bits);
    memcpy(&bits, value.data(), value.size());
    if (strchr("fFeEgG", type) != nullptr) {
        check_against_runtime(format, std::bit_cast<double>(bits));
    } else if (format.find("ll") != std::string::npos) {
        check_against_runtime(format, static_cast<long long>(bits));
    } else {
        check_against_runtime(format, static_cast<int>(bits));
    }
    return 0;
}
