#include "winapi/winapi.h"

#include <gtest/gtest.h>

namespace {

ULONGLONG ticks_of(const FILETIME& time) {
    return static_cast<ULONGLONG>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

SYSTEMTIME date(WORD year, WORD month, WORD day, WORD hour = 0, WORD milliseconds = 0) {
    SYSTEMTIME time{};
    time.wYear = year;
    time.wMonth = month;
    time.wDay = day;
    time.wHour = hour;
    time.wMilliseconds = milliseconds;
    return time;
}

TEST(FileTime, CountsFrom1601AndRefusesDatesThatAreNone) {
    const std::pair<SYSTEMTIME, ULONGLONG> good[] = {
        {date(1601, 1, 1), 0},
        {date(1970, 1, 1), 116'444'736'000'000'000},
        {date(2000, 2, 29, 1, 1), 116'444'736'000'000'000 + 951'786'000ULL * 10'000'000 + 10'000},
    };
    for (const auto& [time, ticks] : good) {
        FILETIME result{};
        EXPECT_TRUE(SystemTimeToFileTime(&time, &result));
        EXPECT_EQ(ticks_of(result), ticks);
    }
    const SYSTEMTIME bad[] = {date(1600, 12, 31), date(2023, 2, 30),    date(2023, 13, 1),        date(2023, 0, 1),
                              date(2023, 4, 31),  date(2023, 1, 1, 24), date(2023, 1, 1, 0, 1000)};
    for (const SYSTEMTIME& time : bad) {
        FILETIME result{};
        EXPECT_FALSE(SystemTimeToFileTime(&time, &result)) << time.wYear << ' ' << time.wMonth << ' ' << time.wDay;
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    }
}

TEST(Calendar, LocalTimeOfNowIsTheSystemsTime) {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    const auto seconds = static_cast<__time64_t>(ticks_of(now) / 10'000'000) - 11'644'473'600;
    struct tm local {};
    ASSERT_EQ(_localtime64_s(&local, &seconds), 0);
    EXPECT_GE(local.tm_year, 124);
    EXPECT_EQ(local.tm_sec, static_cast<int>(seconds % 60));
    const __time64_t before_1970 = -100'000;
    EXPECT_NE(_localtime64_s(&local, &before_1970), 0);
}

TEST(Ticks, PassWhileSleeping) {
    const DWORD start = GetTickCount();
    Sleep(50);
    const DWORD passed = GetTickCount() - start;
    EXPECT_GE(passed, 50u - 16u);  // the tick count moves in steps of up to 16 ms
    EXPECT_LT(passed, 5000u);
}

}  // namespace
