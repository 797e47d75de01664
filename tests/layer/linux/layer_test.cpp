// What only the layer has: drives, the path limit, full disks, what is counted, allocations that fail.
#include "winapi/winapi.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "tests/support/scratch.h"
#include "winapi/linux/control.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/handle.h"

extern "C" void* __wrap_malloc(size_t size);
extern "C" void* __wrap_calloc(size_t count, size_t size);
extern "C" void* __wrap_realloc(void* block, size_t size);

namespace {

TEST(Drives, NameTheFolderTheHostChose) {
    const ScratchDir dir;
    const std::string folder = winapi::native_path(dir.path().c_str());
    winapi::map_drive(u'q', folder);
    const std::pair<LPCWSTR, std::string> cases[] = {
        {u"Q:\\a\\b.txt", folder + "/a/b.txt"},
        {u"Q:\\..\\..\\a/", folder + "/a"},  // a drive cannot be left
        {u"Z:\\tmp", "/tmp"},
        {u"Y:\\tmp", ""},
        {u"\\\\server\\share\\file", ""},
        {u"name", std::filesystem::current_path().string() + "/name"},
    };
    for (const auto& [path, native] : cases) EXPECT_EQ(winapi::native_path(path), native);
}

TEST(PathLimit, Is259CharactersForFilesAnd247ForFolders) {
    const ScratchDir dir;
    const auto name_of_length = [&dir](size_t length) {
        return dir.file(std::u16string(length - dir.path().size() - 1, u'n'));
    };
    FILE* const file = open_stream(name_of_length(259), u"w");
    ASSERT_NE(file, nullptr);
    fclose(file);
    EXPECT_EQ(open_stream(name_of_length(260), u"w"), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PATH_NOT_FOUND});
    EXPECT_EQ(_mkdir(winapi::to_utf8(name_of_length(247).c_str()).c_str()), 0);
    EXPECT_NE(_mkdir(winapi::to_utf8(name_of_length(248).c_str()).c_str()), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILENAME_EXCED_RANGE});
}

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

TEST(Allocations, CanFail) {
    void* const kept = __wrap_malloc(8);
    winapi::fault::arm(1, winapi::fault::Mode::from_then_on);
    EXPECT_EQ(GlobalAlloc(GPTR, 8), nullptr);
    EXPECT_EQ(__wrap_malloc(8), nullptr);
    EXPECT_EQ(__wrap_calloc(1, 8), nullptr);
    EXPECT_EQ(__wrap_realloc(kept, 16), nullptr);
    winapi::fault::disarm();
    std::free(kept);
}

}  // namespace
