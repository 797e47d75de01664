// Critical sections and waiting.
#include "winapi/linux/sync.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <limits>
#include <mutex>
#include <new>
#include <vector>

#include "winapi/linux/control.h"
#include "winapi/linux/error.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/process.h"
#include "winapi/linux/wait.h"

namespace {

winapi::fault::Point initialize_point("InitializeCriticalSectionAndSpinCount");
winapi::fault::Point wait_point("WaitForSingleObject");

struct Lock {
    std::mutex mutex;
    std::atomic<DWORD> owner{0};  // its thread, 0 when it is free; compared with one's own only, so any order does
    unsigned depth = 0;           // how often the owner has entered it; the owner's alone
    winapi::LockUse use{};        // the owner's alone, too
};

// Those that are initialised, in that order.
std::mutex all_mutex;
std::vector<Lock*> all_locks;

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

void leave(Lock& lock) {
    if (--lock.depth > 0) return;
    lock.owner.store(0, std::memory_order_relaxed);
    lock.mutex.unlock();
}

}  // namespace

namespace winapi {

std::int64_t real_timeout(DWORD timeout_ms) {
    return timeout_ms == INFINITE ? -1 : real_milliseconds(timeout_ms);
}

int poll_for(pollfd* polled, nfds_t count, std::int64_t real_ms) {
    using std::chrono::steady_clock;
    const auto end = steady_clock::now() + std::chrono::milliseconds(std::max<std::int64_t>(real_ms, 0));
    std::int64_t left = real_ms;
    for (;;) {
        const std::int64_t bounded = std::min<std::int64_t>(left, std::numeric_limits<int>::max());
        const int ready = poll(polled, count, static_cast<int>(bounded));
        if (ready > 0 || (ready < 0 && errno != EINTR)) return ready;
        if (real_ms < 0) continue;
        left = std::chrono::ceil<std::chrono::milliseconds>(end - steady_clock::now()).count();
        if (left <= 0) return 0;
    }
}

std::vector<LockUse> lock_uses() {
    const std::lock_guard all(all_mutex);
    std::vector<LockUse> uses;
    for (Lock* const lock : all_locks) {
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
    const std::lock_guard all(all_mutex);
    all_locks.push_back(lock);
    return TRUE;
}

void EnterCriticalSection(CRITICAL_SECTION* section) {
    Lock* const lock = lock_of(section);
    if (lock == nullptr) return;
    const DWORD self = GetCurrentThreadId();
    if (lock->owner.load(std::memory_order_relaxed) != self) {
        acquire(*lock);
        lock->owner.store(self, std::memory_order_relaxed);
    }
    ++lock->depth;
}

void LeaveCriticalSection(CRITICAL_SECTION* section) {
    Lock* const lock = lock_of(section);
    if (lock == nullptr) return;
    if (lock->owner.load(std::memory_order_relaxed) == GetCurrentThreadId()) {
        leave(*lock);
    } else {
        winapi::count_misuse();
    }
}

void DeleteCriticalSection(CRITICAL_SECTION* section) {
    Lock* const lock = lock_of(section);
    if (lock == nullptr) return;
    section->lock = nullptr;
    {
        const std::lock_guard all(all_mutex);
        std::erase(all_locks, lock);
    }
    if (lock->owner != 0) {
        winapi::count_misuse();
        // Its memory stays with another thread that holds it: that one has still to leave it.
        if (lock->owner != GetCurrentThreadId()) return;
        while (lock->depth > 0) leave(*lock);
    }
    delete lock;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD timeout_ms) {
    const bool injected = wait_point.fails();
    const auto object = injected ? nullptr : winapi::find_handle_as<winapi::Waitable>(handle);
    if (object == nullptr) return winapi::fail(ERROR_INVALID_HANDLE, WAIT_FAILED);
    return object->wait(winapi::real_timeout(timeout_ms)) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}
