// What only the layer has: fault points, drives, the fast clock and the count of open handles.
#include "winapi/winapi.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>

#include "tests/support/scratch.h"
#include "winapi/linux/control.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/handle.h"

namespace {

namespace fault = winapi::fault;

struct PipeEnd final : winapi::Object {
    int fd;
    explicit PipeEnd(int descriptor) : fd(descriptor) {}
    DWORD close() override { return ::close(fd) == 0 ? 0 : winapi::error_from_errno(errno); }
    const char* kind() const override { return "pipe"; }
    int descriptor() const override { return fd; }
};

struct Pipe {
    HANDLE reader = nullptr;
    HANDLE writer = nullptr;
    Pipe() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        reader = winapi::insert_handle(std::make_shared<PipeEnd>(ends[0]));
        writer = winapi::insert_handle(std::make_shared<PipeEnd>(ends[1]));
    }
};

TEST(PipeHandle, TellsThatTheOtherEndIsGone) {
    char buffer[8] = "";
    DWORD count = 0;
    const Pipe read_out;
    EXPECT_TRUE(WriteFile(read_out.writer, "ab", 2, &count, nullptr));
    EXPECT_TRUE(CloseHandle(read_out.writer));
    EXPECT_TRUE(ReadFile(read_out.reader, buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ(std::string(buffer, count), "ab");
    EXPECT_FALSE(ReadFile(read_out.reader, buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_BROKEN_PIPE});
    EXPECT_TRUE(CloseHandle(read_out.reader));

    const Pipe unread;
    EXPECT_TRUE(CloseHandle(unread.reader));
    EXPECT_FALSE(WriteFile(unread.writer, "ab", 2, &count, nullptr)) << "and this process is still alive";
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_DATA});
    EXPECT_TRUE(CloseHandle(unread.writer));
}

TEST(Drives, NameTheFolderTheHostChose) {
    const ScratchDir dir;
    const std::string folder = winapi::native_path(dir.path().c_str());
    winapi::map_drive(u'q', folder);
    EXPECT_EQ(winapi::native_path(u"Q:\\a\\b.txt"), folder + "/a/b.txt");
    EXPECT_EQ(winapi::native_path(u"Q:\\..\\..\\a/"), folder + "/a") << "a drive cannot be left";
    EXPECT_EQ(winapi::native_path(u"Z:\\tmp"), "/tmp");
    EXPECT_EQ(winapi::native_path(u"Y:\\tmp"), "");
    EXPECT_EQ(winapi::native_path(u"\\\\server\\share\\file"), "");
    EXPECT_EQ(winapi::native_path(winapi::windows_path("/a/b c").c_str()), "/a/b c");
    EXPECT_EQ(winapi::native_path(u"name"), std::filesystem::current_path().string() + "/name");
    char current[MAX_PATH];
    ASSERT_NE(_getcwd(current, MAX_PATH), nullptr);
    EXPECT_EQ(winapi::native_path(winapi::to_utf16(current).c_str()), std::filesystem::current_path().string());
    EXPECT_EQ(_getcwd(current, 3), nullptr);
}

TEST(PathLimit, Is259CharactersForFilesAnd247ForFolders) {
    const ScratchDir dir;
    const auto name_of_length = [&dir](size_t length) {
        return dir.file(std::u16string(length - dir.path().size() - 1, u'n'));
    };
    FILE* const file = _wfopen(name_of_length(259).c_str(), u"w");
    ASSERT_NE(file, nullptr);
    fclose(file);
    EXPECT_EQ(_wfopen(name_of_length(260).c_str(), u"w"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PATH_NOT_FOUND});
    EXPECT_EQ(_mkdir(winapi::to_utf8(name_of_length(247).c_str()).c_str()), 0);
    EXPECT_NE(_mkdir(winapi::to_utf8(name_of_length(248).c_str()).c_str()), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILENAME_EXCED_RANGE});
}

TEST(ReadOnlyFile, IsNeitherWrittenNorDeleted) {
    const ScratchDir dir;
    const std::u16string path = dir.file(u"file");
    fclose(_wfopen(path.c_str(), u"w"));
    ::chmod(winapi::native_path(path.c_str()).c_str(), 0444);
    EXPECT_EQ(_wfopen(path.c_str(), u"a"), nullptr);
    EXPECT_EQ(errno, EACCES);
    EXPECT_FALSE(DeleteFileW(path.c_str()));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(_waccess(path.c_str(), 4), 0);
    EXPECT_NE(_waccess(path.c_str(), 2), 0);
}

TEST(Streams, AFullDiskIsReportedByTheFlush) {
    for (const WCHAR* const mode : {u"w", u"wb"}) {
        FILE* const file = _wfopen(u"Z:\\dev\\full", mode);
        ASSERT_NE(file, nullptr);
        fputs("line\n", file);
        EXPECT_EQ(fflush(file), EOF);
        EXPECT_EQ(errno, ENOSPC);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_DISK_FULL});
        EXPECT_NE(ferror(file), 0);
        fclose(file);
    }
}

// Write calls of this process so far.
long write_calls() {
    std::ifstream io("/proc/self/io");
    std::string word;
    while (io >> word && word != "syscw:") {
    }
    long count = 0;
    io >> count;
    return count;
}

TEST(Streams, AFlushedLineIsOneWriteAndALargeBlockIsNotCutSmall) {
    const ScratchDir dir;
    FILE* const text = _wfopen(dir.file(u"log").c_str(), u"a");
    FILE* const binary = _wfopen(dir.file(u"data").c_str(), u"wb");
    const std::string block(1 << 20, 'x');
    long start = write_calls();
    for (int i = 0; i < 100; ++i) {
        fputs("a line of a log file\n", text);
        fflush(text);
    }
    EXPECT_LT(write_calls() - start, 120) << "a sanitizer adds a few of its own";
    start = write_calls();
    fwrite(block.data(), 1, block.size(), binary);
    EXPECT_LE(write_calls() - start, 4);
    fclose(text);
    fclose(binary);
}

// Uses the functions with a fault point one after the other; whether all of them did what they should.
bool use_everything(const ScratchDir& dir, const std::u16string& path) {
    bool good = true;
    const auto check = [&good](bool done) { return good = good && done, done; };
    FILE* stream = _wfopen(path.c_str(), u"w");
    if (check(stream != nullptr)) {
        check(fputs("line\n", stream) >= 0 && fflush(stream) == 0);
        check(fclose(stream) == 0);
    }
    char text[16];
    stream = _wfopen(path.c_str(), u"r");
    if (check(stream != nullptr)) {
        check(fgets(text, sizeof(text), stream) != nullptr && std::string(text) == "line\n");
        check(fclose(stream) == 0);
    }
    DWORD count = 0;
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, 0, nullptr);
    if (check(file != INVALID_HANDLE_VALUE)) {
        check(WriteFile(file, "1234", 4, &count, nullptr) && count == 4);
        check(ReadFile(file, text, 2, &count, nullptr) && count == 2);
        check(CloseHandle(file));
    }
    WIN32_FIND_DATAW data;
    const HANDLE find = FindFirstFileW((dir.path() + u"\\*").c_str(), &data);
    if (check(find != INVALID_HANDLE_VALUE)) {
        check(FindNextFileW(find, &data));
        check(FindClose(find));
    }
    check(DeleteFileW(path.c_str()));
    return good;
}

TEST(Faults, ReleaseWhatTheFailedCallHeld) {
    const ScratchDir dir;
    const std::u16string path = dir.file(u"file");
    const size_t handles = winapi::open_handles();
    fault::arm(0, fault::Mode::once);
    ASSERT_TRUE(use_everything(dir, path));
    const std::uint64_t calls = fault::disarm();
    ASSERT_EQ(calls, 14u);
    for (const fault::Mode mode : {fault::Mode::once, fault::Mode::from_then_on}) {
        for (std::uint64_t call = 1; call <= calls; ++call) {
            fault::arm(call, mode);
            EXPECT_FALSE(use_everything(dir, path)) << fault::failed_function();
            fault::disarm();
            EXPECT_EQ(winapi::open_handles(), handles) << fault::failed_function();
            DeleteFileW(path.c_str());
            EXPECT_NE(_waccess(path.c_str(), 0), 0) << "still open after " << fault::failed_function();
        }
    }
}

TEST(Faults, AShortWriteOfAStreamIsAnError) {
    const ScratchDir dir;
    FILE* const file = _wfopen(dir.file(u"file").c_str(), u"wb");
    fault::arm(1, fault::Mode::short_count);
    fputs("12345678", file);
    EXPECT_EQ(fflush(file), EOF);
    fault::disarm();
    EXPECT_EQ(GetLastError(), DWORD{ERROR_DISK_FULL});
    fclose(file);
    EXPECT_EQ(std::filesystem::file_size(winapi::native_path(dir.file(u"file").c_str())), 4u);
}

TEST(Handles, OfASearchOrAnOpenStreamAreCounted) {
    const ScratchDir dir;
    const size_t handles = winapi::open_handles();
    const std::uint64_t misuses = winapi::misuses();
    WIN32_FIND_DATAW data;
    const HANDLE find = FindFirstFileW((dir.path() + u"\\*").c_str(), &data);
    FILE* const stream = _wfopen(dir.file(u"file").c_str(), u"w");
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
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

}  // namespace
