// Formatting, bounded text, encodings and counted strings; the status bits of a printer's problem.
#include <algorithm>
#include <cstdlib>

#include "common/enc.h"
#include "common/format.h"
#include "common/util.h"
#include "tests/unit/log_fixture.h"
#include "winportmon/tsmon/helper.h"
#include "winportmon/tsmon/helper_status.h"

namespace {

class Text : public LogTest {};

std::string formatted(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    char* out = nullptr;
    const int result = util_vasprintf(&out, format, arguments);
    va_end(arguments);
    if (result == 0) return out == nullptr ? "<refused>" : "<refused, with a buffer>";
    const std::string text = out;
    free(out);
    return text;
}

const WCHAR kWide[] = {'a', 0xE4, 0x20AC, 0xD83D, 0xDE00, 0};  // 1, 2, 3 and 4 bytes of UTF-8
const WCHAR kBorders[] = {0x7F, 0x80, 0x7FF, 0x800, 0xD7FF, 0xD800, 0xDC00, 0xDBFF, 0xDFFF, 0xE000, 0};
const WCHAR kUnpaired[] = {0xDE00, 0xD83D, 0xDE00, 0xD83D, 0xE000, 0xD83D, 0};

TEST_F(Text, FormatsEachConversion) {
    const WCHAR* const no_wide_text = nullptr;
    const char* const no_text = nullptr;
    // clang-format off
    const std::pair<std::string, std::string> cases[] = {
        {formatted("%S|", kWide), "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80|"},
        {formatted("%S", kUnpaired), "\xEF\xBF\xBD\xF0\x9F\x98\x80\xEF\xBF\xBD\xEE\x80\x80\xEF\xBF\xBD"},
        {formatted("%S", kBorders),
         "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\xEE\x80\x80"},
        // A precision counts bytes and never cuts a character.
        {formatted("%.0S|%.2S|%.3S|%.5S|%.9S", kWide, kWide, kWide, kWide, kWide),
         "|a|a\xC3\xA4|a\xC3\xA4|a\xC3\xA4\xE2\x82\xAC"},
        {formatted("%5.3S|%-5.3S|%5s|%-5s|", kWide, kWide, "ab", "ab"), "  a\xC3\xA4|a\xC3\xA4  |   ab|ab   |"},
        {formatted("%s|%S|%.3s|%c|%%", no_text, no_wide_text, "abcdef", 'x'), "(null)|(null)|abc|x|%"},
        {formatted("%I64d %lld %I64u", INT64_MIN, INT64_MAX, UINT64_MAX),
         "-9223372036854775808 9223372036854775807 18446744073709551615"},
        {formatted("%lu %ld %d %u", ~0u, -1, INT32_MIN, 0x80000000u), "4294967295 -1 -2147483648 2147483648"},
        {formatted("%5d|%-5d|%05d|%05.0d|%02X|%x|%.3d", 42, 42, -42, 42, 245, ~0u, 7),
         "   42|42   |-0042|   42|F5|ffffffff|007"},
        {formatted("%+d|% d|% d|%-+5d|%#x|%#X|%#o|%#.3o|%.0d|", 5, 5, -5, 5, 255, 255, 8, 8, 0),
         "+5| 5|-5|+5   |0xff|0XFF|010|010||"},
        {formatted("%+.1f|% .1f|%#.0f|%.0f|%-6.1f|%06.1f", 1.5, 1.5, 2.0, 2.0, 1.5, -1.5), "+1.5| 1.5|2.|2|1.5   |-001.5"},
        {formatted("%p %f", reinterpret_cast<void*>(uintptr_t{0x12AB}), 1.5), "00000000000012AB 1.500000"},
    };
    // clang-format on
    for (const auto& [text, expected] : cases) EXPECT_EQ(text, expected);
    for (const char* const format : {"%", "abc %5", "%y", "%n", "%ll", "%5%", "%99999999d", "%*d"}) {
        char buffer[8] = "before";
        EXPECT_EQ(formatted(format, 99999999, buffer), "<refused>") << format;
        EXPECT_EQ(util_snprintf_unchecked(buffer, sizeof buffer, format, 99999999, buffer), -1);
        EXPECT_STREQ(buffer, "");
    }
}

TEST_F(Text, FormatsWholeWhateverTheLength) {
    for (size_t length : {1010u, 1011u, 1017u, 1018u, 1019u, 1020u, 1023u, 1024u, 70'000u}) {
        const std::string text(length, 't');
        EXPECT_EQ(formatted("%s%d%S", text.c_str(), 12345, kWide), text + "12345" + formatted("%S", kWide));
    }
    for (size_t size = 1; size < 20; ++size) {
        char buffer[20];
        memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(util_snprintf(buffer, size, "ab%d%s%S%3s", -123, "cd", W("ef"), "z"), 13);
        EXPECT_EQ(buffer, std::string("ab-123cdef  z").substr(0, size - 1));
        EXPECT_EQ(std::string(buffer + size, sizeof buffer - size), std::string(sizeof buffer - size, '#'));
    }
}

TEST_F(Text, CopiesAndAppendsWithinTheSize) {
    for (size_t size = 1; size < 8; ++size) {
        for (size_t length = 0; length < 10; ++length) {
            const std::string source = std::string("abcdefghij").substr(0, length);
            char copy[12];
            memset(copy, '#', sizeof copy);
            util_strncpy(copy, source.c_str(), size);
            std::string expected = source.substr(0, size - 1);
            expected.resize(size);  // zeros up to the size, nothing behind it
            expected.resize(sizeof copy, '#');
            EXPECT_EQ(std::string(copy, sizeof copy), expected);

            for (size_t before = 0; before < 10; ++before) {
                char joined[24] = "0123456789";
                joined[before] = '\0';
                const std::string whole = joined + source;
                util_strncat(joined, source.c_str(), size);
                EXPECT_EQ(joined, whole.substr(0, std::max(before, size - 1)));
                const bool full = whole.size() >= size && before + 1 >= size;
                EXPECT_EQ(logged().size(), full ? 1u : 0u) << size << " " << length << " " << before;
            }
        }
    }
}

TEST_F(Text, CountsStrings) {
    constexpr int kWhole = INT32_MAX;
    // clang-format off
    const std::tuple<const char*, const char*, int, int> cases[] = {
        {"Debug", "dEBUG", kWhole, 0}, {"Debug ", "Debug", kWhole, ' '}, {"Debug", "Debug ", kWhole, -' '},
        {"a", "B", kWhole, -1}, {"", "", kWhole, 0}, {"aX", "a", kWhole, 'x'}, {"[", "{", kWhole, '[' - '{'},
        {"\xE4", "a", kWhole, -28 - 'a'}, {"\xC4", "\xE4", kWhole, -32}, {"a", "a\xE4", kWhole, 28},
        {"Force.Duplex", "force.*", 6, 0}, {"Force", "Force.*", 6, -'.'}, {"abc", "abd", 2, 0}, {"abc", "abd", 3, -1},
        {"abc", "ab", 3, 'c'}, {"abc", "ABC", 9, 0}, {"a", "b", 0, 0}, {"a", "a", -1, COUNTED_INVALID},
    };
    // clang-format on
    for (const auto& [left, right, count, result] : cases) {
        CountedString* const first = counted_from_cstr(left);
        CountedString* const second = counted_from_cstr(right);
        EXPECT_EQ(counted_nicmp(first, second, count), result) << left << "|" << right << "|" << count;
        EXPECT_TRUE(count != kWhole || counted_icmp(first, second) == result) << left << "|" << right;
        EXPECT_EQ(counted_icmp(first, first), 0);
        counted_destroy(first);
        counted_destroy(second);
    }
    char data[] = "abc";
    CountedString good{4, 3, data};
    CountedString negative{4, -1, data};
    CountedString no_data{4, 3, nullptr};
    for (CountedString* const bad : {counted_from_cstr(nullptr), &negative, &no_data}) {
        EXPECT_EQ(counted_icmp(bad, &good), COUNTED_INVALID);
        EXPECT_EQ(counted_nicmp(&good, bad, 1), COUNTED_INVALID);
        EXPECT_EQ(counted_to_cstr(bad), nullptr);
        EXPECT_EQ(counted_destroy(bad), -1);
    }
}

TEST_F(Text, ConvertsWithinTheLimits) {
    WCHAR wide[kWidePathSize + 1];
    for (const size_t length : {0u, 258u, 259u, 260u, 300u}) {
        std::fill_n(wide, kWidePathSize + 1, WCHAR{'#'});
        EXPECT_EQ(enc_utf8_to_wide(wide, std::string(length, 'p').c_str()), 1);
        EXPECT_EQ(util_wcsnlen(wide, 262), std::min<size_t>(length, 259));
        EXPECT_EQ(wide[kWidePathSize], '#');
    }
    const std::string whole = formatted("%S", kWide);
    EXPECT_EQ(enc_utf8_to_wide(wide, whole.c_str()), 1);
    EXPECT_EQ(std::basic_string<WCHAR>(wide), kWide);
    EXPECT_EQ(enc_utf8_to_wide(wide, nullptr), 0);
    EXPECT_EQ(wide[0], 0);
    for (size_t size = 1; size < 14; ++size) {
        char bytes[14];
        EXPECT_EQ(enc_wide_to_utf8(bytes, size, kWide), 1);
        EXPECT_EQ(bytes, whole.substr(0, size - 1)) << "cut at a byte";
    }
    session_context.debug_logging = session_context.dev_logging = 1;
    char kept[8] = "kept";
    EXPECT_EQ(enc_wide_to_utf8(kept, sizeof kept, W("")), 1);
    EXPECT_EQ(enc_wide_to_utf8(kept, sizeof kept, nullptr), 1);
    EXPECT_EQ(enc_wide_to_utf8(kept, 0, kWide), 0);
    EXPECT_EQ(enc_wide_to_utf8(nullptr, 8, kWide), 0);
    EXPECT_EQ(enc_utf8_to_wide(nullptr, "a"), 0);
    EXPECT_STREQ(kept, "kept");
    const std::string bytes = logged_bytes();
    EXPECT_NE(bytes.find("DEV  : ts.cpp:30 - Assertion failed: 0 : szSrc != NULL"), std::string::npos) << bytes;
    Strings expected;
    for (const std::string condition : {"szSrc != NULL", "destSize > 0", "szDest != NULL", "szDest != NULL"}) {
        expected.push_back("ERROR: message: (" + condition + ") assertion failed");
        expected.push_back("DEV  : Assertion failed: 0 : " + condition);
    }
    EXPECT_EQ(parse_log(bytes), expected);
}

TEST_F(Text, CutsTheHelpersPathWhereItsFieldEnds) {
    tsmon::MonitorContext context{};
    context.ports = reinterpret_cast<tsmon::PortEntry*>(~ULONG_PTR{0});
    tsmon::BuildHelperCommandPath(&context, std::string(MAX_PATH - 5, 'x').c_str());
    EXPECT_EQ(util_wcsnlen(context.helper_command_path, MAX_PATH), size_t{MAX_PATH - 1});
    EXPECT_EQ(context.ports, reinterpret_cast<tsmon::PortEntry*>(~ULONG_PTR{0}));
}

// A problem with a bit of its own is shown instead of the general error.
TEST_F(Text, ShowsTheSpecificBitsOfAProblem) {
    const std::tuple<const char*, DWORD, DWORD> cases[] = {
        {"no paper", 0, 0},
        {"Job Suspended", 0, JOB_STATUS_ERROR},
        {"Offline; No Paper", PRINTER_STATUS_PAPER_OUT, JOB_STATUS_PAPEROUT},
        {"tray 2: Low Toner / No Toner / Door Open",
         PRINTER_STATUS_TONER_LOW | PRINTER_STATUS_NO_TONER | PRINTER_STATUS_DOOR_OPEN, JOB_STATUS_ERROR},
        {"Output Full and Output Near Full", PRINTER_STATUS_OUTPUT_BIN_FULL, JOB_STATUS_ERROR},
    };
    const auto expect = [](const char* text, DWORD printer, DWORD job) {
        EXPECT_EQ(tsmon::PrinterStatusFromErrorText(text), printer) << text;
        EXPECT_EQ(tsmon::JobStatusFromErrorText(text), job) << text;
    };
    for (const auto& [text, printer, job] : cases) expect(text, printer, job);
    for (const char* const general :
         {"Offline", "Low Paper", "Service Requested", "Input Tray Missing", "Output Tray Missing",
          "Marker Supply Missing", "Output Near Full", "Input Tray Empty", "Overdue Prevent Maintenance"}) {
        expect(general, PRINTER_STATUS_ERROR, JOB_STATUS_ERROR);
    }
}

}  // namespace
