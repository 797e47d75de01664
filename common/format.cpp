#include "common/format.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t kFirstBuffer = 1024;
constexpr int kLargestWidth = 1 << 20;  // of a field; a larger width is malformed

// Takes text in, keeps what fits and counts the rest.
struct Sink {
    char* buffer;
    size_t size;
    size_t length = 0;

    char* tail() const { return length < size ? buffer + length : nullptr; }
    size_t room() const { return length < size ? size - length : 0; }

    void append(const char* text, size_t count) {
        if (room() > 0) memcpy(tail(), text, count < room() ? count : room());
        length += count;
    }
    void pad(size_t count, char character = ' ') {
        if (room() > 0) memset(tail(), character, count < room() ? count : room());
        length += count;
    }
};

// A va_list is an array in one build and a plain pointer in the other; wrapped, a reference to it means the same in
// both.
struct Arguments {
    va_list list;
};

struct Conversion {
    bool left = false;       // -
    bool sign = false;       // +
    bool blank = false;      // a blank where a plus sign could be
    bool alternate = false;  // #
    bool zeros = false;      // 0
    int width = 0;
    int precision = -1;
    bool wide64 = false;  // ll, I64
    char type = '\0';

    // The common case: nothing but the type.
    bool is_plain() const { return !left && !sign && !blank && !alternate && !zeros && width == 0 && precision < 0; }
};

bool parse_flag(char character, Conversion& conversion) {
    switch (character) {
        case '-':
            conversion.left = true;
            return true;
        case '+':
            conversion.sign = true;
            return true;
        case ' ':
            conversion.blank = true;
            return true;
        case '#':
            conversion.alternate = true;
            return true;
        case '0':
            conversion.zeros = true;
            return true;
        default:
            return false;
    }
}

bool parse_number(const char*& format, int& number) {
    number = 0;
    while (*format >= '0' && *format <= '9') {
        number = number * 10 + (*format++ - '0');
        if (number > kLargestWidth) return false;
    }
    return true;
}

void parse_length(const char*& format, Conversion& conversion) {
    if (strncmp(format, "I64", 3) == 0) {
        conversion.wide64 = true;
        format += 3;
    } else if (strncmp(format, "ll", 2) == 0) {
        conversion.wide64 = true;
        format += 2;
    } else if (*format == 'l') {
        ++format;
    }
}

// `format` points behind the "%"; afterwards behind the conversion.
bool parse_conversion(const char*& format, Conversion& conversion) {
    while (parse_flag(*format, conversion)) ++format;
    if (!parse_number(format, conversion.width)) return false;
    if (*format == '.') {
        ++format;
        if (!parse_number(format, conversion.precision)) return false;
    }
    parse_length(format, conversion);
    conversion.type = *format;
    if (*format != '\0') ++format;
    return true;
}

// The runtime's snprintf does the digits.
bool put_real(Sink& sink, const Conversion& conversion, double number) {
    char format[12];
    char* end = format;
    *end++ = '%';
    if (conversion.left) *end++ = '-';
    if (conversion.sign) *end++ = '+';
    if (conversion.blank) *end++ = ' ';
    if (conversion.alternate) *end++ = '#';
    if (conversion.zeros) *end++ = '0';
    memcpy(end, "*.*", 3);
    end[3] = conversion.type;
    end[4] = '\0';
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int count = snprintf(sink.tail(), sink.room(), format, conversion.width, conversion.precision, number);
#pragma GCC diagnostic pop
    if (count < 0) return false;
    sink.length += static_cast<size_t>(count);
    return true;
}

// "00" to "99": two digits for one division.
struct DecimalPairs {
    constexpr DecimalPairs() {
        for (int i = 0; i < 100; ++i) {
            text[i][0] = static_cast<char>('0' + i / 10);
            text[i][1] = static_cast<char>('0' + i % 10);
        }
    }
    char text[100][2] = {};
};
constexpr DecimalPairs kDecimalPairs;

// A number's digits; every line of the log has a dozen numbers, too many for the runtime's snprintf.
struct Digits {
    // The base is a constant, for a division by a variable takes many times as long.
    template <unsigned kBase>
    void put(uint64_t number, const char* set) {
        for (; number != 0; number /= kBase) *--begin = set[number % kBase];
    }
    void put_decimal(uint64_t number) {
        if (number != 0) begin = util_put_decimal(begin, number);
    }
    size_t length() const { return static_cast<size_t>(text + sizeof text - begin); }

    char text[23];  // 64 bits in octal, and a sign
    char* begin = text + sizeof text;
};

void put_digits(Digits& digits, uint64_t number, char type) {
    switch (type) {
        case 'x':
            return digits.put<16>(number, "0123456789abcdef");
        case 'X':
            return digits.put<16>(number, "0123456789ABCDEF");
        case 'o':
            return digits.put<8>(number, "01234567");
        default:
            return digits.put_decimal(number);
    }
}

// "+", "0x" and the like.
const char* prefix_of(const Conversion& conversion, bool is_signed, bool negative, uint64_t magnitude) {
    if (negative) return "-";
    if (is_signed) return conversion.sign ? "+" : conversion.blank ? " " : "";
    if (!conversion.alternate || magnitude == 0) return "";
    return conversion.type == 'x' ? "0x" : conversion.type == 'X' ? "0X" : "";
}

void put_number(Sink& sink, const Conversion& conversion, bool is_signed, bool negative, uint64_t magnitude) {
    Digits digits;
    put_digits(digits, magnitude, conversion.type);
    if (conversion.is_plain() && magnitude != 0) {
        if (negative) *--digits.begin = '-';
        return sink.append(digits.begin, digits.length());
    }
    const char* const prefix = prefix_of(conversion, is_signed, negative, magnitude);
    const size_t prefix_length = strlen(prefix);
    const size_t length = digits.length();
    const auto width = static_cast<size_t>(conversion.width);
    size_t least = conversion.precision < 0 ? 1 : static_cast<size_t>(conversion.precision);
    if (conversion.type == 'o' && conversion.alternate && least <= length) least = length + 1;
    // A precision says how many digits there are; only without one zeros fill the field.
    if (conversion.zeros && !conversion.left && conversion.precision < 0 && width > prefix_length) {
        least = least < width - prefix_length ? width - prefix_length : least;
    }
    const size_t zeros = least > length ? least - length : 0;
    const size_t taken = prefix_length + zeros + length;
    const size_t blanks = width > taken ? width - taken : 0;
    if (!conversion.left) sink.pad(blanks);
    sink.append(prefix, prefix_length);
    sink.pad(zeros, '0');
    sink.append(digits.begin, length);
    if (conversion.left) sink.pad(blanks);
}

void put_integer(Sink& sink, const Conversion& conversion, Arguments& arguments) {
    const bool is_signed = conversion.type == 'd' || conversion.type == 'i';
    int64_t value = 0;
    if (conversion.wide64) {
        value = va_arg(arguments.list, long long);
    } else {
        const int narrow = va_arg(arguments.list, int);
        value = is_signed ? narrow : static_cast<int64_t>(static_cast<unsigned>(narrow));
    }
    const bool negative = is_signed && value < 0;
    const auto bits = static_cast<uint64_t>(value);
    put_number(sink, conversion, is_signed, negative, negative ? 0 - bits : bits);
}

void put_field(Sink& sink, const Conversion& conversion, const char* text, size_t length) {
    const auto width = static_cast<size_t>(conversion.width);
    const size_t blanks = width > length ? width - length : 0;
    if (!conversion.left) sink.pad(blanks);
    sink.append(text, length);
    if (conversion.left) sink.pad(blanks);
}

void put_text(Sink& sink, const Conversion& conversion, const char* text) {
    if (text == nullptr) text = "(null)";
    size_t length = 0;
    const auto most = static_cast<size_t>(conversion.precision);
    while ((conversion.precision < 0 || length < most) && text[length] != '\0') ++length;
    put_field(sink, conversion, text, length);
}

// Takes one character off UTF-16 text and gives its UTF-8 bytes; anything unpaired is U+FFFD.
size_t next_utf8(const WCHAR*& text, char (&bytes)[4]) {
    uint32_t code = static_cast<uint16_t>(*text++);
    if (code >= 0xD800 && code <= 0xDFFF) {
        const uint32_t low = code < 0xDC00 ? static_cast<uint16_t>(*text) : 0u;
        if (low >= 0xDC00 && low <= 0xDFFF) {
            code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
            ++text;
        } else {
            code = 0xFFFD;
        }
    }
    if (code < 0x80) {
        bytes[0] = static_cast<char>(code);
        return 1;
    }
    const size_t count = code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
    for (size_t i = count - 1; i > 0; --i) {
        bytes[i] = static_cast<char>(0x80 | (code & 0x3F));
        code >>= 6;
    }
    bytes[0] = static_cast<char>((0xF00 >> count & 0xFF) | code);
    return count;
}

// A precision limits the bytes of UTF-8; a character that does not fit whole is left out.
void put_wide_text(Sink& sink, const Conversion& conversion, const WCHAR* text) {
    if (text == nullptr) return put_text(sink, conversion, nullptr);
    const auto most = static_cast<size_t>(conversion.precision);
    char bytes[4];
    size_t length = 0;
    const WCHAR* end = text;
    for (const WCHAR* next = text; *next != 0;) {
        const size_t count = next_utf8(next, bytes);
        if (conversion.precision >= 0 && length + count > most) break;
        length += count;
        end = next;
    }
    const auto width = static_cast<size_t>(conversion.width);
    const size_t blanks = width > length ? width - length : 0;
    if (!conversion.left) sink.pad(blanks);
    while (text != end) sink.append(bytes, next_utf8(text, bytes));
    if (conversion.left) sink.pad(blanks);
}

bool put_argument(Sink& sink, const Conversion& conversion, Arguments& arguments) {
    switch (conversion.type) {
        case 'd':
        case 'i':
        case 'u':
        case 'x':
        case 'X':
        case 'o':
            put_integer(sink, conversion, arguments);
            return true;
        case 'f':
        case 'F':
        case 'e':
        case 'E':
        case 'g':
        case 'G':
            return put_real(sink, conversion, va_arg(arguments.list, double));
        case 'c': {
            const char character = static_cast<char>(va_arg(arguments.list, int));
            put_field(sink, conversion, &character, 1);
            return true;
        }
        case 'p': {
            Conversion digits;
            digits.type = 'X';
            digits.precision = 16;
            put_number(sink, digits, false, false, reinterpret_cast<uintptr_t>(va_arg(arguments.list, void*)));
            return true;
        }
        case 's':
            put_text(sink, conversion, va_arg(arguments.list, const char*));
            return true;
        case 'S':
            put_wide_text(sink, conversion, va_arg(arguments.list, const WCHAR*));
            return true;
        default:
            return false;
    }
}

// The length of the whole text, or -1 when the format is malformed. Leaves the terminator to the caller.
int format_text(Sink& sink, const char* format, Arguments& arguments) {
    while (*format != '\0') {
        const char* const percent = strchr(format, '%');
        const size_t plain = percent != nullptr ? static_cast<size_t>(percent - format) : strlen(format);
        sink.append(format, plain);
        if (percent == nullptr) break;
        format = percent + 1;
        if (*format == '%') {
            sink.append(format++, 1);
            continue;
        }
        Conversion conversion;
        if (!parse_conversion(format, conversion)) return -1;
        if (!put_argument(sink, conversion, arguments)) return -1;
        if (sink.length > static_cast<size_t>(INT32_MAX) - kFirstBuffer) return -1;
    }
    return static_cast<int>(sink.length);
}

}  // namespace

char* util_put_decimal(char* end, uint64_t number) {
    char* begin = end;
    for (; number >= 10; number /= 100) {
        begin -= 2;
        memcpy(begin, kDecimalPairs.text[number % 100], 2);
    }
    if (number != 0 || begin == end) *--begin = static_cast<char>('0' + number);
    return begin;
}

int util_vsnprintf(char* buffer, size_t size, const char* format, va_list arguments) {
    Sink sink{buffer, size};
    Arguments copy;
    va_copy(copy.list, arguments);
    const int length = format_text(sink, format, copy);
    va_end(copy.list);
    if (length < 0) {
        buffer[0] = '\0';
    } else {
        buffer[static_cast<size_t>(length) < size ? static_cast<size_t>(length) : size - 1] = '\0';
    }
    return length;
}

int util_snprintf_unchecked(char* buffer, size_t size, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = util_vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

int util_vasprintf(char** out, const char* format, va_list arguments) {
    *out = nullptr;
    size_t size = kFirstBuffer;
    for (;;) {
        auto* const buffer = static_cast<char*>(malloc(size));
        if (buffer == nullptr) return 0;
        const int length = util_vsnprintf(buffer, size, format, arguments);
        if (length >= 0 && static_cast<size_t>(length) < size) {
            *out = buffer;
            return 1;
        }
        free(buffer);
        if (length < 0) return 0;
        size = static_cast<size_t>(length) + 1;
    }
}
