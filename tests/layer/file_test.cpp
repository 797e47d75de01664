#include "winapi/winapi.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "tests/support/scratch.h"

namespace {

using WString = std::basic_string<WCHAR>;

std::string read_stream(const WString& path, const WCHAR* mode) {
    FILE* const file = _wfopen(path.c_str(), mode);
    if (file == nullptr) return "cannot be opened";
    std::string content;
    char buffer[1000];
    while (const size_t count = fread(buffer, 1, sizeof(buffer), file)) content.append(buffer, count);
    fclose(file);
    return content;
}

void write_stream(const WString& path, const WCHAR* mode, const std::string& content) {
    FILE* const file = _wfopen(path.c_str(), mode);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(fwrite(content.data(), 1, content.size(), file), content.size());
    EXPECT_EQ(fclose(file), 0);
}

HANDLE open_handle(const WString& path, DWORD access, DWORD share, DWORD disposition) {
    return CreateFileW(path.c_str(), access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

constexpr DWORD share_all = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

TEST(TextStream, WritesCrLfAndAppends) {
    const ScratchDir dir;
    const WString path = dir.file(W("log.txt"));
    write_stream(path, W("w"), "one\n\ntwo\r\n");
    write_stream(path, W("a"), "three\n");
    EXPECT_EQ(read_stream(path, W("rb")), "one\r\n\r\ntwo\r\r\nthree\r\n");
    write_stream(path, W("w"), "");
    EXPECT_EQ(read_stream(path, W("rb")), "");
}

TEST(TextStream, ReadsCrLfAsLfWhereverThePairFalls) {
    const ScratchDir dir;
    const WString path = dir.file(W("lines.txt"));
    const std::string fill(8191, 'x');  // puts a pair across the usual sizes of buffers
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"a\r\nb\nc", "a\nb\nc"},
        {"a\rb\r", "a\rb\r"},
        {"a\r\r\nb", "a\r\nb"},
        {"\r\n", "\n"},
        {"a\x1A"
         "b",
         "a"},
        {fill + "\r\nb", fill + "\nb"},
        {fill + "\r", fill + "\r"},
        {"", ""},
    };
    for (const auto& [raw, text] : cases) {
        write_stream(path, W("wb"), raw);
        EXPECT_EQ(read_stream(path, W("r")), text);
        EXPECT_EQ(read_stream(path, W("rb")), raw);
    }
}

TEST(BinaryStream, KeepsEveryByteOfALargeFile) {
    const ScratchDir dir;
    const WString path = dir.file(W("data.bin"));
    std::string content(300'001, '\0');
    for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7 % 256);
    write_stream(path, W("wb"), content.substr(0, 100));
    write_stream(path, W("ab"), content.substr(100));
    EXPECT_EQ(read_stream(path, W("rb")), content);
}

TEST(Sharing, AnOpenStreamCanBeReadButNotDeletedOrRenamed) {
    const ScratchDir dir;
    const WString path = dir.file(W("job.bin"));
    const WString other_spelling = dir.path() + W("/sub/../job.bin");
    FILE* const file = _wfopen(path.c_str(), W("wb"));
    ASSERT_NE(file, nullptr);

    for (const WString& name : {path, other_spelling}) {
        EXPECT_FALSE(DeleteFileW(name.c_str()));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
        errno = 0;
        EXPECT_NE(_wrename(name.c_str(), dir.file(W("new")).c_str()), 0);
        EXPECT_EQ(errno, EACCES);
    }
    EXPECT_EQ(open_handle(path, GENERIC_READ, 0, OPEN_EXISTING), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_EQ(open_handle(path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING), INVALID_HANDLE_VALUE);

    const HANDLE reader = open_handle(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING);
    EXPECT_NE(reader, INVALID_HANDLE_VALUE);
    EXPECT_EQ(fclose(file), 0);
    EXPECT_FALSE(DeleteFileW(path.c_str())) << "the reader does not share deletion";
    EXPECT_TRUE(CloseHandle(reader));
    EXPECT_EQ(_wrename(path.c_str(), dir.file(W("new")).c_str()), 0);
    EXPECT_TRUE(DeleteFileW(dir.file(W("new")).c_str()));
}

TEST(Sharing, DeletionNeedsTheConsentOfEveryOpener) {
    const ScratchDir dir;
    const WString path = dir.file(W("shared"));
    const HANDLE willing = open_handle(path, GENERIC_WRITE, share_all, CREATE_NEW);
    const HANDLE unwilling = open_handle(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING);
    EXPECT_FALSE(DeleteFileW(path.c_str()));
    CloseHandle(unwilling);
    EXPECT_TRUE(DeleteFileW(path.c_str()));
    CloseHandle(willing);
    EXPECT_NE(_waccess(path.c_str(), 0), 0);
}

TEST(Sharing, ARefusedOpenLeavesTheContentAlone) {
    const ScratchDir dir;
    const WString path = dir.file(W("kept"));
    write_stream(path, W("wb"), "content");
    const HANDLE reader = open_handle(path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    EXPECT_EQ(open_handle(path, GENERIC_WRITE, share_all, CREATE_ALWAYS), INVALID_HANDLE_VALUE);
    EXPECT_EQ(_wfopen(path.c_str(), W("wb")), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
    CloseHandle(reader);
    EXPECT_EQ(read_stream(path, W("rb")), "content");
}

TEST(FileHandle, DispositionsDecideWhatHappensToAFileThatIsThere) {
    const ScratchDir dir;
    const WString path = dir.file(W("file"));
    struct Case {
        DWORD disposition;
        bool exists;
        DWORD error;  // of a refusal, or what a success tells
        const char* content;
    };
    const Case cases[] = {
        {OPEN_EXISTING, false, ERROR_FILE_NOT_FOUND, nullptr},
        {OPEN_EXISTING, true, ERROR_SUCCESS, "old"},
        {CREATE_NEW, false, ERROR_SUCCESS, ""},
        {CREATE_NEW, true, ERROR_FILE_EXISTS, nullptr},
        {CREATE_ALWAYS, false, ERROR_SUCCESS, ""},
        {CREATE_ALWAYS, true, ERROR_ALREADY_EXISTS, ""},
        {OPEN_ALWAYS, false, ERROR_SUCCESS, ""},
        {OPEN_ALWAYS, true, ERROR_ALREADY_EXISTS, "old"},
    };
    for (const Case& c : cases) {
        DeleteFileW(path.c_str());
        if (c.exists) write_stream(path, W("wb"), "old");
        SetLastError(ERROR_SUCCESS);
        const HANDLE file = open_handle(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, c.disposition);
        EXPECT_EQ(GetLastError(), c.error) << c.disposition << c.exists;
        EXPECT_EQ(file != INVALID_HANDLE_VALUE, c.content != nullptr) << c.disposition << c.exists;
        if (file == INVALID_HANDLE_VALUE) continue;
        LARGE_INTEGER size{};
        EXPECT_TRUE(GetFileSizeEx(file, &size));
        EXPECT_TRUE(CloseHandle(file));
        EXPECT_EQ(read_stream(path, W("rb")), c.content);
        EXPECT_EQ(static_cast<size_t>(size.QuadPart), std::string(c.content).size());
    }
}

TEST(FileHandle, ReadsUpToTheEndAndNoFurther) {
    const ScratchDir dir;
    const WString path = dir.file(W("file"));
    HANDLE file = open_handle(path, GENERIC_WRITE, 0, CREATE_NEW);
    DWORD count = 77;
    EXPECT_TRUE(WriteFile(file, "12345", 5, &count, nullptr));
    EXPECT_EQ(count, 5u);
    char buffer[8] = "";
    EXPECT_FALSE(ReadFile(file, buffer, sizeof(buffer), &count, nullptr)) << "it is open for writing only";
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    CloseHandle(file);

    file = open_handle(path, GENERIC_READ, 0, OPEN_EXISTING);
    EXPECT_TRUE(ReadFile(file, buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ(std::string(buffer, count), "12345");
    EXPECT_TRUE(ReadFile(file, buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ(count, 0u);
    CloseHandle(file);
    EXPECT_FALSE(ReadFile(file, buffer, sizeof(buffer), &count, nullptr)) << "it is closed";
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_FALSE(CloseHandle(file));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST(Paths, RefusalsTellWhatIsMissing) {
    const ScratchDir dir;
    ASSERT_EQ(_mkdir(dir.narrow("folder").c_str()), 0);
    write_stream(dir.file(W("file")), W("wb"), "x");
    std::vector<std::pair<WString, DWORD>> cases = {
        {dir.file(W("missing")), ERROR_FILE_NOT_FOUND},       {dir.file(W("folder")), ERROR_ACCESS_DENIED},
        {dir.file(W("missing\\file")), ERROR_PATH_NOT_FOUND}, {W(""), ERROR_PATH_NOT_FOUND},
        {dir.file(W("file\\below")), ERROR_PATH_NOT_FOUND},
    };
    for (const WCHAR c : WString(W("<>\"|?*\x1"))) {
        cases.emplace_back(dir.file(WString(W("a")) + c + W("b")), ERROR_INVALID_NAME);
    }
    int row = 0;
    for (const auto& [path, error] : cases) {
        SCOPED_TRACE(row++);
        EXPECT_FALSE(DeleteFileW(path.c_str()));
        EXPECT_EQ(GetLastError(), error);
        EXPECT_EQ(open_handle(path, GENERIC_READ, share_all, OPEN_EXISTING), INVALID_HANDLE_VALUE);
        EXPECT_EQ(GetLastError(), error);
        errno = 0;
        EXPECT_EQ(_wfopen(path.c_str(), W("r")), nullptr);
        EXPECT_NE(errno, 0);
    }
    EXPECT_EQ(_wfopen(dir.file(W("missing")).c_str(), W("r")), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST(Paths, BothSeparatorsAndRelativeNamesWithinLeadToTheFile) {
    const ScratchDir dir;
    ASSERT_EQ(_mkdir(dir.narrow("sub").c_str()), 0);
    const WString umlaut = dir.file(W("sub\\\u00FCml\u00E4ut \u20AC.txt"));
    write_stream(umlaut, W("wb"), "found");
    EXPECT_EQ(read_stream(dir.path() + W("/sub/.//../sub/\u00FCml\u00E4ut \u20AC.txt. "), W("rb")), "found");
    EXPECT_EQ(_waccess(dir.file(W("sub\\")).c_str(), 0), 0);
    EXPECT_NE(_waccess(dir.file(W("sub\\other")).c_str(), 0), 0);
}

TEST(Rename, MovesWithinAndNeverReplaces) {
    const ScratchDir dir;
    const WString first = dir.file(W("first"));
    const WString second = dir.file(W("second"));
    write_stream(first, W("wb"), "1");
    write_stream(second, W("wb"), "2");
    EXPECT_NE(_wrename(first.c_str(), second.c_str()), 0);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(read_stream(second, W("rb")), "2");

    EXPECT_EQ(_wrename(first.c_str(), dir.file(W("third")).c_str()), 0);
    EXPECT_EQ(read_stream(dir.file(W("third")), W("rb")), "1");
    EXPECT_NE(_wrename(first.c_str(), dir.file(W("fourth")).c_str()), 0);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_NE(_wrename(second.c_str(), dir.file(W("missing\\second")).c_str()), 0);
    EXPECT_EQ(errno, ENOENT);
}

TEST(Folders, AreMadeOnceAndInAFolderThatIsThere) {
    const ScratchDir dir;
    EXPECT_EQ(_mkdir(dir.narrow("new").c_str()), 0);
    EXPECT_NE(_mkdir(dir.narrow("new").c_str()), 0);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_NE(_mkdir(dir.narrow("missing\\new").c_str()), 0);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PATH_NOT_FOUND});
}

TEST(Folders, AreListedWithSizesAndTimes) {
    const ScratchDir dir;
    ASSERT_EQ(_mkdir(dir.narrow("b folder").c_str()), 0);
    write_stream(dir.file(W("a\u20AC")), W("wb"), "12345");
    write_stream(dir.file(W("c")), W("wb"), "");
    for (const WCHAR* const pattern : {W("\\*"), W("/*")}) {
        WIN32_FIND_DATAW data{};
        const HANDLE find = FindFirstFileW((dir.path() + pattern).c_str(), &data);
        ASSERT_NE(find, INVALID_HANDLE_VALUE);
        WString names;
        do {
            names += WString(data.cFileName) + W(";");
            const bool is_folder = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
            const bool is_file = data.cFileName[0] == W('a') || data.cFileName[0] == W('c');
            EXPECT_NE(is_folder, is_file);
            EXPECT_EQ(data.nFileSizeLow, data.cFileName[0] == W('a') ? 5u : 0u);
            EXPECT_NE(data.ftLastWriteTime.dwHighDateTime, 0u);
        } while (FindNextFileW(find, &data));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_FILES});
        EXPECT_TRUE(FindClose(find));
        EXPECT_TRUE(names == W(".;..;a\u20AC;b folder;c;"));
    }
    WIN32_FIND_DATAW data{};
    EXPECT_EQ(FindFirstFileW(dir.file(W("missing\\*")).c_str(), &data), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PATH_NOT_FOUND});
}

TEST(Status, TellsKindSizeAndTime) {
    const ScratchDir dir;
    const WString path = dir.file(W("file"));
    write_stream(path, W("wb"), "12345");
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    const auto ticks = static_cast<long long>(ULARGE_INTEGER{{now.dwLowDateTime, now.dwHighDateTime}}.QuadPart);

    struct _stat64 status {};
    ASSERT_EQ(_wstat64(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_size, 5);
    EXPECT_EQ(status.st_mode & _S_IFMT, _S_IFREG);
    EXPECT_NEAR(static_cast<double>(status.st_mtime), static_cast<double>(ticks / 10'000'000 - 11'644'473'600), 3);
    ASSERT_EQ(_wstat64(dir.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & _S_IFMT, _S_IFDIR);

    EXPECT_NE(_wstat64(dir.file(W("missing")).c_str(), &status), 0);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
}

}  // namespace
