// Time. Sleep, GetTickCount and every wait with a time-out go through one clock, which a test can run fast
// (control.h); the calendar is this machine's.
#pragma once

#include <ctime>

#include "winapi/linux/types.h"

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};

void Sleep(DWORD milliseconds);
DWORD GetTickCount();
void GetSystemTimeAsFileTime(FILETIME* time);
BOOL SystemTimeToFileTime(const SYSTEMTIME* system, FILETIME* file);

using __time64_t = long long;
int _localtime64_s(struct tm* local, const __time64_t* seconds);
