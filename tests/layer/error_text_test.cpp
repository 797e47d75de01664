#include "winapi/winapi.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

namespace {

using WString = std::basic_string<WCHAR>;

constexpr DWORD system_text = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
constexpr DWORD language = MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT);

TEST(LastError, BelongsToTheThread) {
    std::atomic<int> step{0};  // by turns, with no call in between that could set it
    std::thread other([&step] {
        while (step != 1) {
        }
        SetLastError(7);
        step = 2;
    });
    SetLastError(42);
    step = 1;
    while (step != 2) {
    }
    EXPECT_EQ(GetLastError(), 42u);
    other.join();
}

TEST(SystemMessages, EndInCrLfAndFitOrAreRefused) {
    WCHAR buffer[512] = {};
    const DWORD codes[] = {0,
                           ERROR_FILE_NOT_FOUND,
                           ERROR_SHARING_VIOLATION,
                           ERROR_BAD_EXE_FORMAT,
                           ERROR_INVALID_PRINTER_NAME,
                           WSAECONNREFUSED,
                           WSAHOST_NOT_FOUND};
    for (const DWORD code : codes) {
        const DWORD length = FormatMessageW(system_text, nullptr, code, language, buffer, 512, nullptr);
        ASSERT_GT(length, 4u) << code;
        EXPECT_EQ(lstrlenW(buffer), static_cast<int>(length));
        EXPECT_TRUE(WString(buffer).substr(length - 2) == W("\r\n")) << code;

        EXPECT_EQ(FormatMessageW(system_text, nullptr, code, language, buffer, length, nullptr), 0u);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
        EXPECT_EQ(FormatMessageW(system_text, nullptr, code, language, buffer, length + 1, nullptr), length);
    }
    EXPECT_EQ(FormatMessageW(system_text, nullptr, 0xBADC0DE, language, buffer, 512, nullptr), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MR_MID_NOT_FOUND});
}

TEST(Conversion, ReplacesWhatIsNoText) {
    struct Case {
        std::string utf8;
        WString utf16;
        bool reversible;
    };
    const Case cases[] = {
        {"plain", W("plain"), true},
        {"\xC3\xBC\xE2\x82\xAC\xF0\x9F\x96\xA8", W("\u00FC\u20AC\U0001F5A8"), true},
        {"\xEF\xBF\xBF\xF4\x8F\xBF\xBF", W("\uFFFF\U0010FFFF"), true},
        {"a\x80z", W("a\uFFFDz"), false},            // a lone trailing byte
        {"a\xC0\x80z", W("a\uFFFD\uFFFDz"), false},  // an overlong zero
        {"a\xE2\x82z", W("a\uFFFDz"), false},        // cut short
        {"a\xE2\x82", W("a\uFFFD"), false},          // cut short by the end
        {"\xF5\x80", W("\uFFFD\uFFFD"), false},      // no such lead byte
        {"\xE4"
         "a",
         W("\uFFFD"
           "a"),
         false},  // Latin-1 text
    };
    int row = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(row++);
        WCHAR wide[64] = {};
        const int needed = MultiByteToWideChar(CP_UTF8, 0, c.utf8.c_str(), -1, nullptr, 0);
        EXPECT_EQ(needed, static_cast<int>(c.utf16.size()) + 1);
        EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, c.utf8.c_str(), -1, wide, 64), needed);
        EXPECT_TRUE(wide == c.utf16);
        const int strict = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, c.utf8.c_str(), -1, wide, 64);
        EXPECT_EQ(strict != 0, c.reversible);
        if (!c.reversible) {
            EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_UNICODE_TRANSLATION});
            continue;
        }
        char narrow[64] = {};
        WideCharToMultiByte(CP_UTF8, 0, wide, -1, narrow, 64, nullptr, nullptr);
        EXPECT_EQ(narrow, c.utf8);
    }
}

TEST(Conversion, ReplacesUnpairedSurrogates) {
    const WCHAR high = 0xD83D;
    const WCHAR low = 0xDDA8;
    const std::pair<WString, std::string> cases[] = {
        {WString{high}, "\xEF\xBF\xBD"},
        {WString{W('a'), low, W('b')},
         "a\xEF\xBF\xBD"
         "b"},
        {WString{high, W('b')},
         "\xEF\xBF\xBD"
         "b"},
        {WString{low, high}, "\xEF\xBF\xBD\xEF\xBF\xBD"},
        {WString{high, high, low}, "\xEF\xBF\xBD\xF0\x9F\x96\xA8"},
    };
    for (const auto& [wide, utf8] : cases) {
        char narrow[64] = {};
        const int size = static_cast<int>(wide.size());
        const int count = WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, narrow, 64, nullptr, nullptr);
        EXPECT_EQ(std::string(narrow, static_cast<size_t>(count)), utf8);
    }
}

TEST(Conversion, ChecksSizes) {
    char narrow[8] = {};
    WCHAR wide[8] = {};
    const auto to_wide = [&wide](LPCSTR text, int size, int room) {
        SetLastError(0);
        return MultiByteToWideChar(CP_UTF8, 0, text, size, wide, room);
    };
    const auto to_narrow = [&narrow](LPCWSTR text, int size, int room) {
        SetLastError(0);
        return WideCharToMultiByte(CP_UTF8, 0, text, size, narrow, room, nullptr, nullptr);
    };
    EXPECT_EQ(to_wide("abc", -1, 4), 4);
    EXPECT_EQ(to_wide("abc", 3, 3), 3) << "a counted text gets no terminator";
    EXPECT_EQ(to_narrow(W("\u20AC"), 1, 3), 3);
    EXPECT_EQ(GetLastError(), 0u);

    EXPECT_EQ(to_wide("abc", -1, 3), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(to_narrow(W("\u20AC"), 1, 2), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(to_wide("abc", 0, 8), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(to_narrow(nullptr, -1, 8), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST(Comparison, IgnoresCaseInEveryScript) {
    EXPECT_EQ(lstrcmpiW(W("Printer 1"), W("pRINTER 1")), 0);
    EXPECT_EQ(lstrcmpiW(W("\u00C4\u03A9\u0416"), W("\u00E4\u03C9\u0436")), 0);  // Latin, Greek, Cyrillic
    EXPECT_NE(lstrcmpiW(W("\u00E4"), W("a")), 0);
    EXPECT_LT(lstrcmpiW(W("abc"), W("ABCD")), 0);
    EXPECT_GT(lstrcmpiW(W("b"), W("A")), 0);
    EXPECT_EQ(_stricmp("HeLLo", "hEllO"), 0);
    EXPECT_LT(_stricmp("hell", "HELLO"), 0);
}

}  // namespace
