// What only the layer has.
#include "winapi/winapi.h"

#include <gtest/gtest.h>

#include "tests/support/scratch.h"
#include "winapi/linux/control.h"

namespace {

// Tests find what the monitor leaves open by these counts.
TEST(Counts, OpenHandlesMemoryAndMisuses) {
    const ScratchDir dir;
    const size_t handles = winapi::open_handles();
    const size_t allocations = winapi::open_allocations();
    const std::uint64_t misuses = winapi::misuses();
    WIN32_FIND_DATAW data;
    const HANDLE find = FindFirstFileW((dir.path() + u"\\*").c_str(), &data);
    FILE* const stream = open_stream(dir.file(u"file"), u"w");
    const HGLOBAL block = GlobalAlloc(GPTR, 8);
    EXPECT_EQ(winapi::open_handles(), handles + 2);
    EXPECT_EQ(winapi::open_allocations(), allocations + 1);
    EXPECT_TRUE(FindClose(find));
    fclose(stream);
    GlobalFree(block);
    EXPECT_EQ(winapi::open_handles(), handles);
    EXPECT_EQ(winapi::open_allocations(), allocations);
    EXPECT_EQ(winapi::misuses(), misuses);

    EXPECT_FALSE(CloseHandle(find));
    EXPECT_NE(GlobalFree(&data), nullptr);
    CRITICAL_SECTION section;
    ASSERT_TRUE(InitializeCriticalSectionAndSpinCount(&section, 0));
    LeaveCriticalSection(&section);  // not held
    EnterCriticalSection(&section);
    DeleteCriticalSection(&section);  // still held
    EnterCriticalSection(&section);   // deleted
    EXPECT_EQ(winapi::misuses(), misuses + 5);
}

}  // namespace
