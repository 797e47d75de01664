// The formatter: formats of three conversions with hostile arguments, against a reference that puts the same text
// together piece by piece; and formats that are any bytes, against what holds for all of them.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <variant>
#include <vector>

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

// -- The reference ---------------------------------------------------------------------------------------------------

struct Conversion {
    std::string flags;
    int width = 0;
    int precision = -1;
    std::string length;
    char type = 'd';

    std::string text() const {
        std::string all = "%" + flags;
        if (width > 0) all += std::to_string(width);
        if (precision >= 0) all += "." + std::to_string(precision);
        return all + length + type;
    }
    bool is_left() const { return flags.find('-') != std::string::npos; }
};

std::string padded(const Conversion& conversion, std::string text) {
    const auto width = static_cast<size_t>(conversion.width);
    const size_t blanks = width > text.size() ? width - text.size() : 0;
    text.insert(conversion.is_left() ? text.size() : 0, blanks, ' ');
    return text;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
template <typename Number>
std::string by_runtime(Conversion conversion, const char* length, Number number) {
    conversion.length = length;
    const std::string format = conversion.text();
    std::string text(static_cast<size_t>(snprintf(nullptr, 0, format.c_str(), number)) + 1, '\0');
    snprintf(text.data(), text.size(), format.c_str(), number);
    text.pop_back();
    return text;
}
#pragma GCC diagnostic pop

std::string reference(const Conversion& conversion, int value) {
    if (conversion.type == 'c') return padded(conversion, std::string(1, static_cast<char>(value)));
    return by_runtime(conversion, "", value);
}
std::string reference(const Conversion& conversion, long long value) {
    return by_runtime(conversion, "ll", value);
}
std::string reference(const Conversion& conversion, double value) {
    return by_runtime(conversion, "", value);
}
std::string reference(const Conversion& conversion, const void* value) {
    char digits[17];
    snprintf(digits, sizeof digits, "%016llX", static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(value)));
    return conversion.type == 'p' ? digits : "";
}
std::string reference(const Conversion& conversion, const char* value) {
    const std::string text = value != nullptr ? value : "(null)";
    return padded(conversion, text.substr(0, static_cast<size_t>(conversion.precision)));
}
std::string reference(const Conversion& conversion, const WCHAR* value) {
    std::string text = value != nullptr ? winapi::to_utf8(value) : "(null)";
    if (static_cast<size_t>(conversion.precision) < text.size()) {  // whole characters
        size_t end = static_cast<size_t>(conversion.precision);
        while (end > 0 && (text[end] & 0xC0) == 0x80) --end;
        text.resize(end);
    }
    return padded(conversion, text);
}

// -- What holds for every format -------------------------------------------------------------------------------------

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

// Formats whole and at sizes where it has to be cut; the text, or false when the format is refused.
template <typename... Arguments>
bool check_format(std::string& whole, const char* format, Arguments... arguments) {
    char one[1] = {'#'};
    const int length = print(one, sizeof one, format, arguments...);
    REQUIRE(one[0] == '\0' && length >= -1);
    char* allocated = nullptr;
    const int result = print_alloc(&allocated, format, arguments...);
    REQUIRE(result == (length >= 0 ? 1 : 0));
    REQUIRE((allocated != nullptr) == (result == 1));
    if (length < 0) return false;
    whole.assign(allocated, static_cast<size_t>(length));
    REQUIRE(allocated[length] == '\0');
    free(allocated);
    const auto size = static_cast<size_t>(length);
    for (size_t cut = 2; cut <= std::min<size_t>(size + 2, 40); ++cut) check_cut(cut, whole, format, arguments...);
    for (const size_t cut : {size / 2 + 1, size, size + 1, size + 2}) {
        if (cut > 0) check_cut(cut, whole, format, arguments...);
    }
    return true;
}

// -- Formats of three conversions ------------------------------------------------------------------------------------

using Argument = std::variant<int, long long, double, const char*, const WCHAR*, const void*>;

struct Piece {
    std::string literal;
    Conversion conversion;
    Argument argument;
};

// The texts that arguments point to.
struct Texts {
    std::string narrow;
    Text wide;
};

int take_number(Input& input) {
    const uint8_t first = input.byte();
    return first < 0xF0 ? first % 40 : input.word();
}

Piece take_piece(Input& input, Texts& texts) {
    constexpr char kFlags[] = "-+ #0";
    Piece piece;
    for (const char character : input.bytes(input.byte() % 8)) {
        if (character != '%' && character != '\0') piece.literal += character;
    }
    Conversion& conversion = piece.conversion;
    const uint8_t flags = input.byte();
    for (size_t i = 0; i < 5; ++i) {
        if ((flags >> i & 1) != 0) conversion.flags += kFlags[i];
    }
    if ((flags & 0x20) != 0) conversion.width = take_number(input);
    if ((flags & 0x40) != 0) conversion.precision = take_number(input);
    const uint8_t kind = input.byte();
    uint64_t bits = 0;
    const std::string_view value = input.bytes(sizeof bits);
    memcpy(&bits, value.data(), value.size());
    double real = 0;
    memcpy(&real, &bits, sizeof real);
    switch (kind % 6) {
        case 0:
            conversion.type = "diuxXoc"[kind / 6 % 7];
            conversion.length = (flags & 0x80) != 0 ? "l" : "";
            piece.argument = static_cast<int>(bits);
            break;
        case 1:
            conversion.type = "diuxXo"[kind / 6 % 6];
            conversion.length = (flags & 0x80) != 0 ? "I64" : "ll";
            piece.argument = static_cast<long long>(bits);
            break;
        case 2:
            conversion.type = "fFeEgG"[kind / 6 % 6];
            piece.argument = real;
            break;
        case 3:
            conversion.type = 's';
            texts.narrow = std::string(input.until('\0'));
            piece.argument = (flags & 0x80) != 0 ? nullptr : texts.narrow.c_str();
            break;
        case 4:
            conversion.type = 'S';
            texts.wide = input.wide(input.byte());
            piece.argument = (flags & 0x80) != 0 ? nullptr : texts.wide.c_str();
            break;
        default:
            conversion = Conversion{};
            conversion.type = 'p';
            piece.argument = reinterpret_cast<const void*>(static_cast<uintptr_t>(bits));
    }
    return piece;
}

void check_pieces(Input& input) {
    Texts texts[3];
    const Piece pieces[3] = {take_piece(input, texts[0]), take_piece(input, texts[1]), take_piece(input, texts[2])};
    std::string format;
    std::string expected;
    for (const Piece& piece : pieces) {
        format += piece.literal + piece.conversion.text() + "%%";
        expected += piece.literal;
        expected += std::visit([&](auto value) { return reference(piece.conversion, value); }, piece.argument);
        expected += '%';
    }
    std::visit(
        [&](auto first, auto second, auto third) {
            std::string whole;
            REQUIRE(check_format(whole, format.c_str(), first, second, third));
            REQUIRE(whole == expected);
        },
        pieces[0].argument, pieces[1].argument, pieces[2].argument);
}

// Every argument passes for a text of either kind, for a pointer and for a number; no more conversions than there are
// arguments.
void check_any(Input& input) {
    static constexpr WCHAR kTextOfEither[4] = {W('a'), W('b'), 0, 0};
    const std::string format(input.until('\0'));
    if (std::count(format.begin(), format.end(), '%') > 8) return;
    const void* const p = kTextOfEither;
    std::string whole;
    check_format(whole, format.c_str(), p, p, p, 1.5, -0.0, 1e300, 2.5, 0.1, 3.0, 4.0, 5.0, p, p, p, p, p, p, p, p);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    if (input.byte() % 2 == 0) {
        check_pieces(input);
    } else {
        check_any(input);
    }
    return 0;
}
