// What only the layer has: full disks, and what is counted.
#include "winapi/winapi.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/scratch.h"
#include "winapi/linux/control.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/handle.h"

namespace {

TEST(Streams, AFullDiskAndAShortWriteAreReportedByTheFlush) {
    const ScratchDir dir;
    for (const std::u16string& path : {std::u16string(u"Z:\\dev\\full"), dir.file(u"file")}) {
        FILE* const file = open_stream(path, u"wb");
        ASSERT_NE(file, nullptr);
        winapi::fault::arm(path.ends_with(u"full") ? 0 : 1, winapi::fault::Mode::short_count);
        fputs("12345678", file);
        EXPECT_EQ(fflush(file), EOF);
        winapi::fault::disarm();
        EXPECT_EQ(GetLastError(), DWORD{ERROR_DISK_FULL});
        fclose(file);
    }
    EXPECT_EQ(std::filesystem::file_size(winapi::native_path(dir.file(u"file").c_str())), 4u);
}

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
