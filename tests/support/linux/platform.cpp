#include "tests/support/platform.h"

#include <stdlib.h>
#include <sys/resource.h>
#include <time.h>

#include "winapi/linux/control.h"

namespace test {

size_t open_handles() {
    return winapi::open_handles();
}

size_t peak_memory() {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<size_t>(usage.ru_maxrss) * 1024;
}

void set_variable(const char* name, const char* value) {
    if (value != nullptr) {
        setenv(name, value, 1);
    } else {
        unsetenv(name);
    }
    tzset();
}

FastClock::FastClock(double factor) {
    winapi::set_clock_speed(factor);
}
FastClock::~FastClock() {
    winapi::set_clock_speed(1);
}

}  // namespace test
