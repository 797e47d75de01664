// Conversion between UTF-8 and UTF-16.
#include "winapi/winapi.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using WString = std::basic_string<WCHAR>;

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

}  // namespace
