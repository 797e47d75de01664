#include "winapi/winapi.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "tests/support/scratch.h"

namespace {

using WString = std::basic_string<WCHAR>;

std::string read_stream(const WString& path, const WCHAR* mode) {
    FILE* const file = open_stream(path, mode);
    if (file == nullptr) return "cannot be opened";
    std::string content;
    char buffer[1000];
    while (const size_t count = fread(buffer, 1, sizeof(buffer), file)) content.append(buffer, count);
    fclose(file);
    return content;
}

void write_stream(const WString& path, const WCHAR* mode, const std::string& content) {
    FILE* const file = open_stream(path, mode);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(fwrite(content.data(), 1, content.size(), file), content.size());
    EXPECT_EQ(fclose(file), 0);
}

HANDLE open_handle(const WString& path, DWORD access, DWORD share) {
    return CreateFileW(path.c_str(), access, share, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

class Files : public testing::Test {
  protected:
    const ScratchDir dir;
    const WString path = dir.file(W("file"));
    const WString other = dir.file(W("other"));
    const WString missing = dir.file(W("missing"));
};

TEST_F(Files, TextStreamsWriteCrLfAndReadLfWhereverThePairFalls) {
    write_stream(path, W("w"), "one\n\ntwo\r\n");
    write_stream(path, W("a"), "three\n");
    EXPECT_EQ(read_stream(path, W("rb")), "one\r\n\r\ntwo\r\r\nthree\r\n");

    const std::string fill(8191, 'x');  // puts a pair across the usual sizes of buffers
    const std::pair<std::string, std::string> cases[] = {
        {"a\r\nb\nc", "a\nb\nc"},
        {"a\rb\r", "a\rb\r"},
        {"a\r\r\nb", "a\r\nb"},
        {"a\x1Az", "a"},
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

TEST_F(Files, AnOpenStreamCanBeReadButNotDeletedOrRenamed) {
    FILE* const file = open_stream(path, W("wb"));
    ASSERT_NE(file, nullptr);
    for (const WString& name : {path, dir.path() + W("/sub/../file")}) {
        EXPECT_FALSE(DeleteFileW(name.c_str()));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
        EXPECT_NE(_wrename(name.c_str(), other.c_str()), 0);
        EXPECT_EQ(errno, EACCES);
    }
    EXPECT_EQ(open_handle(path, GENERIC_READ, FILE_SHARE_READ), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});

    const HANDLE reader = open_handle(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE);
    EXPECT_NE(reader, INVALID_HANDLE_VALUE);
    EXPECT_EQ(fwrite("content", 1, 7, file), 7u);
    EXPECT_EQ(fclose(file), 0);
    EXPECT_FALSE(DeleteFileW(path.c_str())) << "the reader does not share deletion";
    CloseHandle(reader);
    const HANDLE only_reader = open_handle(path, GENERIC_READ, FILE_SHARE_READ);
    EXPECT_EQ(open_stream(path, W("wb")), nullptr);
    EXPECT_TRUE(CloseHandle(only_reader));
    EXPECT_FALSE(CloseHandle(only_reader));
    EXPECT_EQ(read_stream(path, W("rb")), "content") << "a refused open leaves it alone";
    EXPECT_EQ(_wrename(path.c_str(), other.c_str()), 0);
    EXPECT_TRUE(DeleteFileW(other.c_str()));
}

TEST_F(Files, RefusalsTellWhatIsMissing) {
    ASSERT_EQ(_mkdir(dir.narrow("folder").c_str()), 0);
    EXPECT_NE(_mkdir(dir.narrow("folder").c_str()), 0);
    EXPECT_EQ(errno, EEXIST);
    write_stream(path, W("wb"), "x");
    const std::pair<WString, DWORD> cases[] = {
        {missing, ERROR_FILE_NOT_FOUND},
        {dir.file(W("folder")), ERROR_ACCESS_DENIED},
        {missing + W("\\file"), ERROR_PATH_NOT_FOUND},
        {path + W("\\below"), ERROR_PATH_NOT_FOUND},
        {W(""), ERROR_PATH_NOT_FOUND},
        {dir.file(W("a|b")), ERROR_INVALID_NAME},
    };
    for (const auto& [name, error] : cases) {
        EXPECT_FALSE(DeleteFileW(name.c_str()));
        EXPECT_EQ(GetLastError(), error);
        EXPECT_EQ(open_handle(name, GENERIC_READ, FILE_SHARE_READ), INVALID_HANDLE_VALUE);
        EXPECT_EQ(GetLastError(), error);
        EXPECT_EQ(open_stream(name, W("r")), nullptr);
    }
}

TEST_F(Files, ARenameNeverReplaces) {
    write_stream(path, W("wb"), "1");
    write_stream(other, W("wb"), "2");
    EXPECT_NE(_wrename(path.c_str(), other.c_str()), 0);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(_wrename(path.c_str(), missing.c_str()), 0);
    EXPECT_EQ(read_stream(missing, W("rb")), "1");
    EXPECT_EQ(read_stream(other, W("rb")), "2");
    EXPECT_NE(_wrename(path.c_str(), dir.file(W("third")).c_str()), 0);
    EXPECT_EQ(errno, ENOENT);
}

}  // namespace
