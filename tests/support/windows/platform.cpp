#include "tests/support/platform.h"

#include <winsock2.h>

#include <windows.h>

#include <winternl.h>

#include <string>

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

}  // namespace

// Values are small multiples of four, given out from the lowest one on: what comes after a long gap is not in use.
size_t open_handles() {
    constexpr ULONG_PTR gap = 4 * 512;
    size_t count = 0;
    ULONG_PTR last = 0;
    for (ULONG_PTR value = 4; value < last + gap; value += 4) {
        auto* const handle = reinterpret_cast<HANDLE>(value);  // NOLINT(performance-no-int-to-ptr)
        DWORD flags = 0;
        if (!GetHandleInformation(handle, &flags)) continue;
        last = value;
        if (counts(handle)) ++count;
    }
    return count;
}

}  // namespace test
