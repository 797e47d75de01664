#include "tests/support/platform.h"

#include <winsock2.h>

#include <windows.h>

#include <winternl.h>

#include <algorithm>
#include <string>

#include "tests/support/windows/process.h"

namespace test {
namespace {

// Threads, and what a runtime makes and keeps for its threads and locks, are not the monitor's business.
bool counts(HANDLE handle) {
    alignas(PUBLIC_OBJECT_TYPE_INFORMATION) char buffer[1024];
    if (NtQueryObject(handle, ObjectTypeInformation, buffer, sizeof buffer, nullptr) < 0) return false;
    const UNICODE_STRING& name = reinterpret_cast<const PUBLIC_OBJECT_TYPE_INFORMATION*>(buffer)->TypeName;
    const std::wstring type(name.Buffer, name.Length / sizeof(wchar_t));
    return type != L"Thread" && type != L"Event" && type != L"Semaphore" && type != L"Mutant";
}

bool is_any(HANDLE) {
    return true;
}

// Values are small multiples of four, given out from the lowest one on: what comes after a long gap is not in use.
size_t count_handles(bool (*is_counted)(HANDLE)) {
    constexpr ULONG_PTR gap = 4 * 512;
    size_t count = 0;
    ULONG_PTR last = 0;
    for (ULONG_PTR value = 4; value < last + gap; value += 4) {
        auto* const handle = reinterpret_cast<HANDLE>(value);  // NOLINT(performance-no-int-to-ptr)
        DWORD flags = 0;
        if (!GetHandleInformation(handle, &flags)) continue;
        last = value;
        if (is_counted(handle)) ++count;
    }
    return count;
}

}  // namespace

size_t open_handles() {
    return count_handles(counts);
}

size_t handles_of_all_kinds() {
    return count_handles(is_any);
}

size_t memory_in_use() {
    std::vector<HANDLE> heaps(GetProcessHeaps(0, nullptr));
    const DWORD count = GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
    heaps.resize(std::min<size_t>(heaps.size(), count));
    size_t bytes = 0;
    for (const HANDLE heap : heaps) {
        PROCESS_HEAP_ENTRY entry{};
        HeapLock(heap);
        while (HeapWalk(heap, &entry)) {
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
        }
        HeapUnlock(heap);
    }
    return bytes;
}

}  // namespace test
