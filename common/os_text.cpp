// The texts of times and of error codes.
#include <atomic>
#include <cstdint>

#include "common/enc.h"
#include "common/format.h"
#include "common/os.h"
#include "common/util.h"

// -- Time ------------------------------------------------------------------------------------------------------------

namespace {

int64_t ticks_of(const FILETIME& time) {
    return static_cast<int64_t>(static_cast<uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime);
}

// The file time (100 ns since 1601) of 1970-01-01.
int64_t epoch_ticks() {
    static std::atomic<int64_t> epoch{0};
    int64_t ticks = epoch.load(std::memory_order_relaxed);
    if (ticks == 0) {
        SYSTEMTIME first = {};
        first.wYear = 1970;
        first.wMonth = 1;
        first.wDay = 1;
        FILETIME time = {};
        SystemTimeToFileTime(&first, &time);
        ticks = ticks_of(time);
        epoch.store(ticks, std::memory_order_relaxed);
    }
    return ticks;
}

}  // namespace

int64_t os_get_time() {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return (ticks_of(now) - epoch_ticks()) / 10000;
}

void os_get_second_string(char* buffer, size_t size, int64_t seconds) {
    const __time64_t time = seconds;
    struct tm local = {};
    _localtime64_s(&local, &time);
    util_snprintf(buffer, size, "%d-%02d-%02d %02d:%02d:%02d", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                  local.tm_hour, local.tm_min, local.tm_sec);
}

int os_get_time_string(char* buffer, size_t size) {
    const int64_t now = os_get_time();
    char second[64];
    os_get_second_string(second, sizeof second, now / 1000);
    util_snprintf(buffer, size, "%s,%03d", second, static_cast<int>(now % 1000));
    return 0;
}

// -- Error texts -----------------------------------------------------------------------------------------------------

void os_get_error_string(uint32_t code, char (&buffer)[kErrorTextSize]) {
    WCHAR text[kErrorTextSize];
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
                                        MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), text, kErrorTextSize, nullptr);
    if (length == 0) {
        util_snprintf(buffer, sizeof buffer, "[Failed to find message for code %d: due to %d]", code, GetLastError());
        SetLastError(code);
        return;
    }
    if (length >= 2 && (text[length - 2] == W('\r') || text[length - 2] == W('\n'))) text[length - 2] = 0;
    buffer[0] = '\0';
    enc_wide_to_utf8(buffer, sizeof buffer, text);
}

void os_format_error(uint32_t code, char* buffer, size_t size, const char* message) {
    char text[kErrorTextSize];
    os_get_error_string(code, text);
    if (util_is_string_empty(text)) {
        util_snprintf(buffer, size, "%s - Error: %d", message, code);
    } else {
        util_snprintf(buffer, size, "%s - %s (Error: %d)", message, text, code);
    }
}
