// What tests need of the platform besides the functions under test; each platform has its own body (linux/, windows/).
#pragma once

#include <cstddef>

namespace test {

// Handles of the process that are open now, sockets and keys included.
size_t open_handles();

// The largest amount of memory the process has held so far, in bytes.
size_t peak_memory();

// A variable of the environment, the time zone TZ among them; null removes it.
void set_variable(const char* name, const char* value);

// Lets the monitor's waits run this many times as fast until the scope ends.
class FastClock {
  public:
    explicit FastClock(double factor);
    ~FastClock();
    FastClock(const FastClock&) = delete;
    FastClock& operator=(const FastClock&) = delete;
};

}  // namespace test
