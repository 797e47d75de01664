#include "winapi/winapi.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

TEST(Time, FileTimesCountFrom1601AndRefuseDatesThatAreNone) {
    FILETIME result{};
    SYSTEMTIME time{2000, 2, 0, 29, 1, 0, 0, 1};
    EXPECT_TRUE(SystemTimeToFileTime(&time, &result));
    EXPECT_EQ((ULARGE_INTEGER{{result.dwLowDateTime, result.dwHighDateTime}}.QuadPart),
              116'444'736'000'000'000 + 951'786'000ULL * 10'000'000 + 10'000);
    time.wDay = 30;
    EXPECT_FALSE(SystemTimeToFileTime(&time, &result));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST(Time, PassesWhileSleeping) {
    using std::chrono::steady_clock;
    const auto begin = steady_clock::now();
    const DWORD start = GetTickCount();
    Sleep(50);
    EXPECT_GE(steady_clock::now() - begin, std::chrono::milliseconds(50 - 16));  // time moves in steps of up to 16 ms
    // The tick count follows, on a busy Wine some time later.
    while (GetTickCount() - start < 50u - 16u && steady_clock::now() - begin < std::chrono::seconds(60)) Sleep(1);
    EXPECT_GE(GetTickCount() - start, 50u - 16u);
}

}  // namespace
