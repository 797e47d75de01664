// A critical section that may be missing: where it could not be created, entering it does nothing, and the code that
// uses it runs unprotected.
#pragma once

#include "winapi/winapi.h"

// One of static storage; the thread that holds it can enter it again.
struct OptionalLock {
    CRITICAL_SECTION section;
    bool initialised;

    // Once; later calls do nothing. The spin count is that of InitializeCriticalSectionAndSpinCount.
    void create(DWORD spin_count = 0) {
        if (!initialised) initialised = InitializeCriticalSectionAndSpinCount(&section, spin_count) != FALSE;
    }
    // No other thread may use it any more.
    void destroy() {
        if (!initialised) return;
        initialised = false;
        DeleteCriticalSection(&section);
    }
};

class LockGuard {
  public:
    explicit LockGuard(OptionalLock& lock) : held_(lock.initialised ? &lock : nullptr) {
        if (held_ != nullptr) EnterCriticalSection(&held_->section);
    }
    ~LockGuard() {
        if (held_ != nullptr) LeaveCriticalSection(&held_->section);
    }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

  private:
    OptionalLock* held_;
};
