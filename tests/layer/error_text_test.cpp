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
        EXPECT_TRUE(WString(buffer).substr(length - 2) == W("\r\n")) << code;
        EXPECT_EQ(message(code, length), 0u);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
        EXPECT_EQ(message(code, length + 1), length);
    }
    EXPECT_EQ(message(0xBADC0DE, 512), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MR_MID_NOT_FOUND});
}

TEST(Conversion, ReplacesWhatIsNoText) {
    const struct {
        std::string utf8;
        WString utf16;
        bool reversible;
    } cases[] = {
        {"\xC3\xBC\xE2\x82\xAC\xF0\x9F\x96\xA8", W("\u00FC\u20AC\U0001F5A8"), true},
        {"\xEF\xBF\xBF\xF4\x8F\xBF\xBF", W("\uFFFF\U0010FFFF"), true},
        {"a\x80z", W("a\uFFFDz"), false},            // a lone trailing byte
        {"a\xC0\x80z", W("a\uFFFD\uFFFDz"), false},  // an overlong zero
        {"a\xE2\x82z", W("a\uFFFDz"), false},        // cut short
        {"a\xE2\x82", W("a\uFFFD"), false},          // cut short by the end
        {"\xF5\x80", W("\uFFFD\uFFFD"), false},      // no such lead byte
        {"\xE4z", W("\uFFFDz"), false},              // Latin-1 text
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.utf8);
        WCHAR wide[64] = {};
        const int needed = MultiByteToWideChar(CP_UTF8, 0, c.utf8.c_str(), -1, nullptr, 0);
        EXPECT_EQ(needed, static_cast<int>(c.utf16.size()) + 1);
        EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, c.utf8.c_str(), -1, wide, 64), needed);
        EXPECT_TRUE(wide == c.utf16);
        if (!c.reversible) continue;
        char narrow[64] = {};
        WideCharToMultiByte(CP_UTF8, 0, wide, -1, narrow, 64, nullptr, nullptr);
        EXPECT_EQ(narrow, c.utf8);
    }
    const WString unpaired = {0xDDA8, 0xD83D, W('a'), 0xD83D, 0xD83D, 0xDDA8};
    char narrow[64] = {};
    WideCharToMultiByte(CP_UTF8, 0, unpaired.c_str(), -1, narrow, 64, nullptr, nullptr);
    EXPECT_STREQ(narrow, "\xEF\xBF\xBD\xEF\xBF\xBD\x61\xEF\xBF\xBD\xF0\x9F\x96\xA8");
}

TEST(Conversion, RefusesABufferThatIsTooSmall) {
    char narrow[8] = {};
    WCHAR wide[8] = {};
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", 3, wide, 3), 3) << "a counted text gets no terminator";
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, W("\u20AC"), 1, narrow, 3, nullptr, nullptr), 3);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", -1, wide, 3), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    SetLastError(0);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, W("\u20AC"), 1, narrow, 2, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
}

TEST(Comparison, IgnoresCaseInEveryScript) {
    EXPECT_EQ(lstrcmpiW(W("\u00C4\u03A9\u0416 1"), W("\u00E4\u03C9\u0436 1")), 0);  // Latin, Greek, Cyrillic
    EXPECT_NE(lstrcmpiW(W("\u00E4"), W("a")), 0);
    EXPECT_LT(lstrcmpiW(W("abc"), W("ABCD")), 0);
    EXPECT_GT(lstrcmpiW(W("b"), W("A")), 0);
}

}  // namespace
