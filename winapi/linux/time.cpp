#include "winapi/linux/time.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>

#include "winapi/linux/control.h"
#include "winapi/linux/error.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/handle.h"

namespace {

winapi::fault::Point system_time_point("SystemTimeToFileTime");
winapi::fault::Point local_time_point("_localtime64_s");

std::int64_t real_now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

// The layer's clock is a straight line from the last change of its speed on, which keeps it from ever going back. It
// starts out as the machine's own.
struct Clock {
    std::int64_t real_start = 0;
    std::int64_t start = 0;
    double factor = 1;
    const Clock* before = nullptr;  // kept: a thread may still be reading it

    std::int64_t at(std::int64_t real) const {
        const std::int64_t passed = std::max<std::int64_t>(real - real_start, 0);
        return start + (factor == 1 ? passed : std::llround(static_cast<double>(passed) * factor));
    }
};
constexpr Clock machine_clock;
std::atomic<const Clock*> current_clock{&machine_clock};

FILETIME file_time(std::chrono::system_clock::time_point time) {
    using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
    constexpr std::int64_t seconds_1601_to_1970 = 11'644'473'600;
    const std::int64_t ticks =
        std::chrono::floor<Ticks>(time.time_since_epoch()).count() + seconds_1601_to_1970 * Ticks::period::den;
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

}  // namespace

void Sleep(DWORD milliseconds) {
    std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(milliseconds / current_clock.load()->factor));
}

DWORD GetTickCount() {
    return static_cast<DWORD>(winapi::clock_milliseconds());
}

void GetSystemTimeAsFileTime(FILETIME* time) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);  // Windows tells the time of its last tick, too
    *time =
        file_time(std::chrono::sys_seconds(std::chrono::seconds(now.tv_sec)) + std::chrono::nanoseconds(now.tv_nsec));
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* system, FILETIME* file) {
    if (system_time_point.fails()) return winapi::fail(ERROR_INVALID_PARAMETER);
    namespace ch = std::chrono;
    const ch::sys_days day = ch::year(system->wYear) / system->wMonth / system->wDay;
    *file = file_time(day + ch::hours(system->wHour) + ch::minutes(system->wMinute) + ch::seconds(system->wSecond) +
                      ch::milliseconds(system->wMilliseconds));
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
    const Clock* const before = current_clock;
    const std::int64_t now = real_now();
    current_clock = new Clock{now, before->at(now), factor, before};
}

std::int64_t real_milliseconds(DWORD milliseconds) {
    return static_cast<std::int64_t>(std::ceil(milliseconds / current_clock.load()->factor));
}

std::uint64_t clock_milliseconds() {
    const Clock* const clock = current_clock.load(std::memory_order_acquire);
    if (clock != &machine_clock) return static_cast<std::uint64_t>(clock->at(real_now()) / 1'000'000);
    // As on Windows, the time of the last tick, and at as little cost: every buffer asks twice.
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000 + static_cast<std::uint64_t>(now.tv_nsec) / 1'000'000;
}

}  // namespace winapi
