// What only the layer has: drives, the path limit, full disks, the fast clock, what is counted, allocations that fail.
#include "winapi/winapi.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <thread>

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
    const std::string current = std::filesystem::current_path();
    winapi::map_drive(u'q', folder);
    const std::pair<LPCWSTR, std::string> cases[] = {
        {u"Q:\\a\\b.txt", folder + "/a/b.txt"},
        {u"Q:\\..\\..\\a/", folder + "/a"},  // a drive cannot be left
        {u"Z:\\tmp", "/tmp"},
        {u"Y:\\tmp", ""},
        {u"\\\\server\\share\\file", ""},
        {u"name", current + "/name"},
    };
    for (const auto& [path, native] : cases) EXPECT_EQ(winapi::native_path(path), native);
    EXPECT_EQ(winapi::native_path(winapi::windows_path("/a/b c").c_str()), "/a/b c");
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
    EXPECT_EQ(errno, ENOENT);
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
        winapi::fault::arm(path[0] == u'Z' ? 0 : 1, winapi::fault::Mode::short_count);
        fputs("12345678", file);
        EXPECT_EQ(fflush(file), EOF);
        winapi::fault::disarm();
        EXPECT_EQ(GetLastError(), DWORD{ERROR_DISK_FULL});
        EXPECT_NE(ferror(file), 0);
        fclose(file);
    }
    EXPECT_EQ(std::filesystem::file_size(winapi::native_path(dir.file(u"file").c_str())), 4u);
}

TEST(Handles, OfASearchOrAnOpenStreamAreCounted) {
    const ScratchDir dir;
    const size_t handles = winapi::open_handles();
    const std::uint64_t misuses = winapi::misuses();
    WIN32_FIND_DATAW data;
    const HANDLE find = FindFirstFileW((dir.path() + u"\\*").c_str(), &data);
    FILE* const stream = open_stream(dir.file(u"file"), u"w");
    EXPECT_EQ(winapi::open_handles(), handles + 2);
    EXPECT_FALSE(CloseHandle(find)) << "a search is closed by FindClose";
    EXPECT_EQ(winapi::misuses(), misuses + 1);
    EXPECT_TRUE(FindClose(find));
    fclose(stream);
    EXPECT_EQ(winapi::open_handles(), handles);
}

TEST(Clock, RunsFastAndNeverBack) {
    const auto start = std::chrono::steady_clock::now();
    DWORD last = GetTickCount();
    for (const double speed : {1000.0, 1.0, 5000.0, 0.5, 1.0}) {
        winapi::set_clock_speed(speed);
        EXPECT_LE(static_cast<std::int32_t>(last - GetTickCount()), 0);
        if (speed > 1) {
            Sleep(30'000);
            EXPECT_GE(GetTickCount() - last, 30'000u);
        }
        last = GetTickCount();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30)) << "two sleeps of 30 seconds";
}

TEST(LinuxModule, AllocationsAreCountedAndCanFail) {
    const size_t before = winapi::open_allocations();
    const auto misuses = winapi::misuses();
    const HGLOBAL block = GlobalAlloc(GPTR, 8);
    EXPECT_EQ(winapi::open_allocations(), before + 1);
    EXPECT_EQ(GlobalFree(block), nullptr);
    EXPECT_EQ(winapi::open_allocations(), before);
    char foreign = 0;
    EXPECT_EQ(GlobalFree(&foreign), &foreign);
    EXPECT_EQ(winapi::misuses(), misuses + 1);

    void* kept = __wrap_malloc(8);
    winapi::fault::arm(1, winapi::fault::Mode::from_then_on);
    EXPECT_EQ(GlobalAlloc(GPTR, 8), nullptr);
    EXPECT_EQ(__wrap_malloc(8), nullptr);
    EXPECT_EQ(__wrap_calloc(1, 8), nullptr);
    EXPECT_EQ(__wrap_realloc(kept, 16), nullptr);
    winapi::fault::disarm();
    std::free(kept);
}

TEST(LinuxCriticalSection, MisuseIsCounted) {
    const auto before = winapi::misuses();
    CRITICAL_SECTION section;
    ASSERT_TRUE(InitializeCriticalSectionAndSpinCount(&section, 0));
    LeaveCriticalSection(&section);  // not held
    EXPECT_EQ(winapi::misuses(), before + 1);
    EnterCriticalSection(&section);
    std::thread([&] { LeaveCriticalSection(&section); }).join();  // held by another
    EXPECT_EQ(winapi::misuses(), before + 2);
    DeleteCriticalSection(&section);  // still held
    EXPECT_EQ(winapi::misuses(), before + 3);
    EnterCriticalSection(&section);  // deleted
    EXPECT_EQ(winapi::misuses(), before + 4);
}

}  // namespace
