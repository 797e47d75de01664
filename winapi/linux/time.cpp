#include "winapi/linux/time.h"

#include <sched.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <mutex>
#include <shared_mutex>

#include "winapi/linux/control.h"
#include "winapi/linux/error.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/file_internal.h"
#include "winapi/linux/handle.h"

namespace {

winapi::fault::Point system_time_point("SystemTimeToFileTime");
winapi::fault::Point local_time_point("_localtime64_s");

constexpr double nanoseconds_a_millisecond = 1e6;

std::int64_t real_now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

// The layer's clock is a straight line from the last change of its speed on, which keeps it from ever going
// back. It starts out as the machine's own.
struct Clock {
    std::shared_mutex mutex;
    std::int64_t real_start = 0;
    std::int64_t start = 0;
    double factor = 1;

    // The caller holds the lock.
    std::int64_t at(std::int64_t real) const {
        const std::int64_t passed = real - real_start;
        return start + (factor == 1 ? passed : std::llround(static_cast<double>(passed) * factor));
    }
};

Clock& the_clock() {
    static Clock* const instance = new Clock;  // outlives every static of the process
    return *instance;
}

double clock_factor() {
    Clock& clock = the_clock();
    const std::shared_lock lock(clock.mutex);
    return clock.factor;
}

FILETIME file_time(std::uint64_t ticks) {
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

bool is_valid(const SYSTEMTIME& time) {
    namespace ch = std::chrono;
    const ch::year_month_day date(ch::year(time.wYear), ch::month(time.wMonth), ch::day(time.wDay));
    return time.wYear >= 1601 && time.wYear <= 30827 && date.ok() && time.wHour < 24 && time.wMinute < 60 &&
           time.wSecond < 60 && time.wMilliseconds < 1000;
}

}  // namespace

void Sleep(DWORD milliseconds) {
    if (milliseconds == 0) {
        sched_yield();
        return;
    }
    const auto wanted = static_cast<std::int64_t>(std::ceil(milliseconds * nanoseconds_a_millisecond / clock_factor()));
    const std::int64_t end = real_now() + wanted;
    const timespec until = {end / 1'000'000'000, end % 1'000'000'000};
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
    }
}

DWORD GetTickCount() {
    return static_cast<DWORD>(winapi::clock_milliseconds());
}

void GetSystemTimeAsFileTime(FILETIME* time) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);  // Windows tells the time of its last tick, too
    *time = winapi::file_time_of(now);
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* system, FILETIME* file) {
    if (system_time_point.fails()) return winapi::fail(ERROR_INVALID_PARAMETER);
    if (system == nullptr || file == nullptr || !is_valid(*system)) return winapi::fail(ERROR_INVALID_PARAMETER);
    namespace ch = std::chrono;
    const ch::year_month_day date(ch::year(system->wYear), ch::month(system->wMonth), ch::day(system->wDay));
    const std::int64_t days = ch::sys_days(date).time_since_epoch().count();
    const std::int64_t seconds = days * 86400 + system->wHour * 3600 + system->wMinute * 60 + system->wSecond;
    *file = winapi::file_time_of({seconds, system->wMilliseconds * 1'000'000L});
    return TRUE;
}

int _localtime64_s(struct tm* local, const __time64_t* seconds) {
    constexpr __time64_t end_of_year_3000 = 32535215999;
    if (local == nullptr) return errno = EINVAL;
    std::memset(local, 0xFF, sizeof(*local));  // all fields -1 after a failure, as the runtime leaves them
    if (local_time_point.fails() || seconds == nullptr || *seconds < 0 || *seconds > end_of_year_3000) {
        return errno = EINVAL;
    }
    const time_t time = *seconds;
    return localtime_r(&time, local) != nullptr ? 0 : EINVAL;
}

namespace winapi {

void set_clock_speed(double factor) {
    Clock& clock = the_clock();
    const std::unique_lock lock(clock.mutex);
    const std::int64_t now = real_now();
    clock.start = clock.at(now);
    clock.real_start = now;
    clock.factor = factor;
}

std::int64_t real_milliseconds(DWORD milliseconds) {
    return static_cast<std::int64_t>(std::ceil(milliseconds / clock_factor()));
}

std::uint64_t clock_milliseconds() {
    Clock& clock = the_clock();
    const std::shared_lock lock(clock.mutex);
    return static_cast<std::uint64_t>(clock.at(real_now()) / 1'000'000);
}

FILETIME file_time_of(const timespec& time) {
    constexpr std::int64_t ticks_a_second = 10'000'000;
    constexpr std::int64_t seconds_1601_to_1970 = 11'644'473'600;
    return file_time(
        static_cast<std::uint64_t>((time.tv_sec + seconds_1601_to_1970) * ticks_a_second + time.tv_nsec / 100));
}

}  // namespace winapi
