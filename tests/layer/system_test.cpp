// System texts, conversions and comparison.
#include "winapi/winapi.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using WString = std::basic_string<WCHAR>;

TEST(SystemMessages, EndInCrLfAndFitOrAreRefused) {
    constexpr DWORD system_text = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    WCHAR buffer[512] = {};
    const auto message = [&buffer](DWORD code, DWORD room) {
        return FormatMessageW(system_text, nullptr, code, 0, buffer, room, nullptr);
    };
    for (const auto code : {DWORD{0}, DWORD{ERROR_SHARING_VIOLATION}, DWORD{WSAHOST_NOT_FOUND}}) {
        const DWORD length = message(code, 512);
        ASSERT_GT(length, 4u) << code;
        EXPECT_EQ(WString(buffer).substr(length - 2), W("\r\n")) << code;
        EXPECT_EQ(message(code, length), 0u);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
        EXPECT_EQ(message(code, length + 1), length);
    }
    EXPECT_EQ(message(0xBADC0DE, 512), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MR_MID_NOT_FOUND});
}

TEST(Conversion, ReplacesWhatIsNoTextAndRefusesABufferThatIsTooSmall) {
    const std::pair<std::string, WString> cases[] = {
        {"\xC3\xBC\xE2\x82\xAC\xF0\x9F\x96\xA8", W("\u00FC\u20AC\U0001F5A8")},
        {"\xEF\xBF\xBF\xF4\x8F\xBF\xBF", W("\uFFFF\U0010FFFF")},
        {"a\x80z", W("a\uFFFDz")},            // a lone trailing byte
        {"a\xC0\x80z", W("a\uFFFD\uFFFDz")},  // an overlong zero
        {"a\xE2\x82z", W("a\uFFFDz")},        // cut short
        {"a\xE2\x82", W("a\uFFFD")},          // cut short by the end
        {"\xF5\x80", W("\uFFFD\uFFFD")},      // no such lead byte
    };
    WCHAR wide[64] = {};
    char narrow[64] = {};
    for (const auto& [utf8, utf16] : cases) {
        const int needed = MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, nullptr, 0);
        EXPECT_EQ(needed, static_cast<int>(utf16.size()) + 1);
        EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, wide, 64), needed);
        EXPECT_EQ(wide, utf16) << utf8;
        EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, wide, needed - 1), 0);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    }
    const WString unpaired = {0xDDA8, 0xD83D, W('a'), 0xD83D, 0xD83D, 0xDDA8};
    const int size = WideCharToMultiByte(CP_UTF8, 0, unpaired.c_str(), -1, narrow, 64, nullptr, nullptr);
    EXPECT_STREQ(narrow, "\xEF\xBF\xBD\xEF\xBF\xBD\x61\xEF\xBF\xBD\xF0\x9F\x96\xA8");
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, unpaired.c_str(), -1, narrow, size - 1, nullptr, nullptr), 0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", 3, wide, 3), 3) << "a counted text gets no terminator";
}

TEST(Comparison, IgnoresCaseInEveryScript) {
    EXPECT_EQ(lstrcmpiW(W("\u00C4\u03A9\u0416 1"), W("\u00E4\u03C9\u0436 1")), 0);  // Latin, Greek, Cyrillic
    EXPECT_NE(lstrcmpiW(W("\u00E4"), W("a")), 0);
    EXPECT_LT(lstrcmpiW(W("abc"), W("ABCD")), 0);
    EXPECT_GT(lstrcmpiW(W("b"), W("A")), 0);
}

}  // namespace
