// Lets the monitor's waits run many times as fast until the scope ends.
#pragma once

#include "winapi/linux/control.h"

namespace test {

class FastClock {
  public:
    explicit FastClock(double factor) { winapi::set_clock_speed(factor); }
    ~FastClock() { winapi::set_clock_speed(1); }
    FastClock(const FastClock&) = delete;
    FastClock& operator=(const FastClock&) = delete;
};

}  // namespace test
