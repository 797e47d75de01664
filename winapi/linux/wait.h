// Internal to the layer: waiting with the clock's time-outs.
#pragma once

#include <poll.h>

#include <cstdint>

#include "winapi/linux/handle.h"

namespace winapi {

// An object that WaitForSingleObject waits for.
struct Waitable : Object {
    // Waits for at most `real_ms` milliseconds, forever when negative; true when signalled.
    virtual bool wait(std::int64_t real_ms) = 0;
};

// Real milliseconds for a time-out of the Windows functions, -1 for INFINITE.
std::int64_t real_timeout(DWORD timeout_ms);
// poll, resumed after a signal; waits forever when real_ms is negative.
int poll_for(pollfd* polled, nfds_t count, std::int64_t real_ms);

}  // namespace winapi
