// Critical sections.
#include "winapi/linux/sync.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <new>
#include <vector>

#include "winapi/linux/control.h"
#include "winapi/linux/error.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/handle.h"
#include "winapi/linux/process.h"

namespace {

winapi::fault::Point initialize_point("InitializeCriticalSectionAndSpinCount");

struct Lock {
    std::mutex mutex;
    std::atomic<DWORD> owner{0};  // its thread, 0 when it is free
    unsigned depth = 0;           // how often the owner has entered it; the owner's alone
    winapi::LockUse use{};        // the owner's alone, too
};

// Those that are initialised, in that order.
struct Locks {
    std::mutex mutex;
    std::vector<Lock*> all;
};

// Looks at the clock only when it has to wait.
void acquire(Lock& lock) {
    using Clock = std::chrono::steady_clock;
    if (!lock.mutex.try_lock()) {
        const auto begin = Clock::now();
        lock.mutex.lock();
        ++lock.use.waited;
        lock.use.nanoseconds += static_cast<std::uint64_t>((Clock::now() - begin) / std::chrono::nanoseconds(1));
    }
    ++lock.use.entered;
}

// Null, and one more misuse, when it was never initialised or is deleted already.
Lock* lock_of(const CRITICAL_SECTION* section) {
    if (section->lock == nullptr) winapi::count_misuse();
    return static_cast<Lock*>(section->lock);
}

}  // namespace

namespace winapi {

std::vector<LockUse> lock_uses() {
    const std::lock_guard guard(the<Locks>().mutex);
    std::vector<LockUse> uses;
    for (Lock* const lock : the<Locks>().all) {
        const std::lock_guard held(lock->mutex);
        uses.push_back(lock->use);
    }
    return uses;
}

}  // namespace winapi

BOOL InitializeCriticalSectionAndSpinCount(CRITICAL_SECTION* section, DWORD /*spin_count*/) {
    if (initialize_point.fails()) return winapi::fail(ERROR_NOT_ENOUGH_MEMORY);
    auto* const lock = new (std::nothrow) Lock;
    section->lock = lock;
    if (lock == nullptr) return winapi::fail(ERROR_NOT_ENOUGH_MEMORY);
    const std::lock_guard guard(winapi::the<Locks>().mutex);
    winapi::the<Locks>().all.push_back(lock);
    return TRUE;
}

void EnterCriticalSection(CRITICAL_SECTION* section) {
    Lock* const lock = lock_of(section);
    if (lock == nullptr) return;
    if (lock->owner != GetCurrentThreadId()) {
        acquire(*lock);
        lock->owner = GetCurrentThreadId();
    }
    ++lock->depth;
}

void LeaveCriticalSection(CRITICAL_SECTION* section) {
    Lock* const lock = lock_of(section);
    if (lock == nullptr) return;
    if (lock->owner != GetCurrentThreadId()) return winapi::count_misuse();
    if (--lock->depth > 0) return;
    lock->owner = 0;
    lock->mutex.unlock();
}

void DeleteCriticalSection(CRITICAL_SECTION* section) {
    Lock* const lock = lock_of(section);
    if (lock == nullptr) return;
    section->lock = nullptr;
    if (lock->owner != 0) return winapi::count_misuse();  // its memory stays with the thread that holds it
    const std::lock_guard guard(winapi::the<Locks>().mutex);
    std::erase(winapi::the<Locks>().all, lock);
    delete lock;
}
