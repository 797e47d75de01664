#include "common/format.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t kFirstBuffer = 1024;
constexpr int kLargestWidth = 1 << 20;  // of a field; more is taken for a mistake

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
    void pad(size_t count) {
        if (room() > 0) memset(tail(), ' ', count < room() ? count : room());
        length += count;
    }
};

// A va_list is an array in one build and a plain pointer in the other; wrapped, a reference to it means the same in
// both.
struct Arguments {
    va_list list;
};

struct Conversion {
    char flags[8] = "";
    bool left = false;
    int width = 0;
    int precision = -1;
    bool wide64 = false;  // ll, I64
    char type = '\0';
};

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
    size_t flags = 0;
    while (*format != '\0' && strchr("-+ #0", *format) != nullptr) {
        if (*format == '-') conversion.left = true;
        if (strchr(conversion.flags, *format) == nullptr) conversion.flags[flags++] = *format;
        ++format;
    }
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

// The conversion for the runtime's snprintf, which does the digits; width and precision go as arguments.
void runtime_format(const Conversion& conversion, const char* length, char (&text)[20]) {
    char* end = text;
    *end++ = '%';
    for (const char* flag = conversion.flags; *flag != '\0'; ++flag) *end++ = *flag;
    *end++ = '*';
    *end++ = '.';
    *end++ = '*';
    while (*length != '\0') *end++ = *length++;
    *end++ = conversion.type;
    *end = '\0';
}

template <typename Number>
bool put_number(Sink& sink, const Conversion& conversion, const char* length, Number number) {
    char format[20];
    runtime_format(conversion, length, format);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int count = snprintf(sink.tail(), sink.room(), format, conversion.width, conversion.precision, number);
#pragma GCC diagnostic pop
    if (count < 0) return false;
    sink.length += static_cast<size_t>(count);
    return true;
}

bool put_integer(Sink& sink, const Conversion& conversion, Arguments& arguments) {
    if (conversion.wide64) return put_number(sink, conversion, "ll", va_arg(arguments.list, long long));
    const int value = va_arg(arguments.list, int);
    const bool is_signed = conversion.type == 'd' || conversion.type == 'i';
    if (is_signed) return put_number(sink, conversion, "ll", static_cast<long long>(value));
    return put_number(sink, conversion, "ll", static_cast<unsigned long long>(static_cast<unsigned>(value)));
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
            return put_integer(sink, conversion, arguments);
        case 'f':
        case 'F':
        case 'e':
        case 'E':
        case 'g':
        case 'G':
            return put_number(sink, conversion, "", va_arg(arguments.list, double));
        case 'c': {
            const char character = static_cast<char>(va_arg(arguments.list, int));
            put_field(sink, conversion, &character, 1);
            return true;
        }
        case 'p': {
            Conversion digits;
            digits.type = 'X';
            digits.precision = 16;
            return put_number(
                sink, digits, "ll",
                static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(va_arg(arguments.list, void*))));
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
        const size_t plain = strcspn(format, "%");
        sink.append(format, plain);
        format += plain;
        if (*format == '\0') break;
        ++format;
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
