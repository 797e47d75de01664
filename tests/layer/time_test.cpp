#include "winapi/winapi.h"

#include <gtest/gtest.h>

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
    const DWORD start = GetTickCount();
    Sleep(50);
    EXPECT_GE(GetTickCount() - start, 50u - 16u);  // the tick count moves in steps of up to 16 ms
}

}  // namespace
