#include "bench/windows/imports.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <deque>
#include <functional>
#include <mutex>

#include "bench/plan.h"
#include "host/platform.h"
#include "winapi/spooler_sim/windows/imports.h"

namespace bench {
namespace {

using spooler_sim::Function;

// Of all functions that the monitor imports.
void for_all_imports(const std::function<void(const char* library, const char* name, Function& slot)>& visit) {
    const HMODULE monitor = GetModuleHandleW(host::to_text(host::monitor_file_name()).c_str());
    require(monitor != nullptr, "the monitor is not loaded");
    spooler_sim::visit_imports(monitor, [&visit](const char* library, const char* name, Function& slot) {
        visit(library, name, slot);
        return true;
    });
}

void exchange(Function& slot, Function target) {
    require(spooler_sim::set_import(slot, target), "the import table is closed");
}

// -- Counting --------------------------------------------------------------------------------------------------------

struct Count {
    std::string name;
    std::uint64_t calls = 0;
};

std::deque<Count> counts;  // thunks know where these lie

// Counts and goes on to the function, with every register as it was.
Function make_thunk(std::uint64_t* calls, Function target) {
    constexpr size_t kPage = 1 << 16;
    static BYTE* next = nullptr;
    static BYTE* end = nullptr;
    // push rax; mov rax, calls; lock inc qword [rax]; mov rax, target; xchg [rsp], rax; ret
    std::array<BYTE, 30> code = {0x50, 0x48, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0,    0xF0, 0x48, 0xFF, 0x00,
                                 0x48, 0xB8, 0,    0, 0, 0, 0, 0, 0, 0, 0x48, 0x87, 0x04, 0x24, 0xC3};
    std::memcpy(&code[3], &calls, sizeof calls);
    std::memcpy(&code[17], &target, sizeof target);
    if (next == nullptr || static_cast<size_t>(end - next) < code.size()) {
        next = static_cast<BYTE*>(VirtualAlloc(nullptr, kPage, MEM_COMMIT, PAGE_EXECUTE_READWRITE));
        require(next != nullptr, "no memory for code");
        end = next + kPage;
    }
    std::memcpy(next, code.data(), code.size());
    BYTE* const thunk = next;
    next += 32;
    return reinterpret_cast<Function>(thunk);
}

bool counts_as_windows(const char* library, const char* name) {
    static constexpr const char* kOfFiles[] = {"_close", "_mkdir", "_waccess", "_wopen",  "_wrename",
                                               "_write", "fclose", "fflush",   "_wstat64"};
    if (_stricmp(library, "msvcrt.dll") != 0) return true;
    return std::any_of(std::begin(kOfFiles), std::end(kOfFiles),
                       [name](const char* known) { return std::strcmp(known, name) == 0; });
}

// -- Locks -----------------------------------------------------------------------------------------------------------

struct WatchedLock {
    std::atomic<CRITICAL_SECTION*> section{nullptr};
    LockUse use;  // changed by the thread that holds it
};

std::array<WatchedLock, 8> watched;  // in the order in which they were entered first
std::mutex adding;

WatchedLock& watched_lock(CRITICAL_SECTION* section) {
    for (WatchedLock& lock : watched) {
        if (lock.section == section) return lock;
    }
    const std::lock_guard guard(adding);
    for (WatchedLock& lock : watched) {
        if (lock.section == nullptr) lock.section = section;
        if (lock.section == section) return lock;
    }
    return watched.back();
}

void WINAPI enter_watched(CRITICAL_SECTION* section) {
    if (TryEnterCriticalSection(section)) {
        ++watched_lock(section).use.entered;
        return;
    }
    const double seconds = seconds_of([section] { EnterCriticalSection(section); });
    LockUse& use = watched_lock(section).use;
    ++use.entered;
    ++use.waited;
    use.seconds += seconds;
}

size_t lock_of_handles = 0;

size_t number_of_locks() {
    size_t number = 0;
    while (number < watched.size() && watched[number].section != nullptr) ++number;
    return number;
}

}  // namespace

void count_calls() {
    counts.clear();
    for_all_imports([](const char* library, const char* name, Function& slot) {
        if (!counts_as_windows(library, name)) return;
        counts.push_back({name});
        exchange(slot, make_thunk(&counts.back().calls, slot));
    });
}

Calls counted_calls() {
    Calls calls;
    for (const Count& count : counts) calls[count.name] += static_cast<double>(count.calls);
    return calls;
}

// Listing the ports enters the port list's lock alone; closing a handle that is none enters the handles' lock last.
// What comes beside them is the log's.
void watch_locks(const host::MonitorHost& monitor) {
    for (WatchedLock& lock : watched) {
        lock.section = nullptr;
        lock.use = {};
    }
    for_all_imports([](const char*, const char* name, Function& slot) {
        if (std::strcmp(name, "EnterCriticalSection") != 0) return;
        exchange(slot, reinterpret_cast<Function>(enter_watched));
    });
    DWORD needed = 0;
    DWORD returned = 0;
    monitor.table()->pfnEnumPorts(monitor.monitor(), nullptr, 1, nullptr, 0, &needed, &returned);
    monitor.close_port(nullptr);
    lock_of_handles = number_of_locks() - 1;
}

LockUses lock_uses() {
    const size_t log = lock_of_handles == 1 ? 2 : 1;
    return {watched[0].use, watched[log].use};
}

}  // namespace bench
