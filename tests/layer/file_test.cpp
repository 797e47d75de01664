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
    char buffer[100];
    const std::string content(buffer, fread(buffer, 1, sizeof buffer, file));
    fclose(file);
    return content;
}

HANDLE open_handle(const WString& path, DWORD share) {
    return CreateFileW(path.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

class Files : public testing::Test {
  protected:
    void write(const std::string& content) const {
        FILE* const file = open_stream(path, W("wb"));
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(fwrite(content.data(), 1, content.size(), file), content.size());
        EXPECT_EQ(fclose(file), 0);
    }
    const ScratchDir dir;
    const WString path = dir.file(W("file"));
};

TEST_F(Files, TextStreamsReadLfForThePairAndEndAtCtrlZ) {
    write("a\r\r\nb\rc\r\x1Az");
    EXPECT_EQ(read_stream(path, W("r")), "a\r\nb\rc\r");
}

TEST_F(Files, AnOpenStreamCanBeReadButNotDeletedOrRenamed) {
    FILE* const file = open_stream(path, W("wb"));
    ASSERT_NE(file, nullptr);
    EXPECT_FALSE(DeleteFileW((dir.path() + W("/sub/../file")).c_str())) << "whatever it is called";
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_NE(_wrename(path.c_str(), dir.file(W("other")).c_str()), 0);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(open_handle(path, FILE_SHARE_READ), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
    CloseHandle(open_handle(path, FILE_SHARE_READ | FILE_SHARE_WRITE));
    EXPECT_EQ(fwrite("content", 1, 7, file), 7u);
    EXPECT_EQ(fclose(file), 0);

    const HANDLE reader = open_handle(path, FILE_SHARE_READ);
    EXPECT_FALSE(DeleteFileW(path.c_str())) << "the reader does not share deletion";
    EXPECT_EQ(open_stream(path, W("wb")), nullptr);
    EXPECT_TRUE(CloseHandle(reader));
    EXPECT_FALSE(CloseHandle(reader));
    EXPECT_EQ(read_stream(path, W("rb")), "content") << "a refused open leaves it alone";
}

TEST_F(Files, RefusalsTellWhatIsMissing) {
    ASSERT_EQ(_mkdir(dir.narrow("folder").c_str()), 0);
    EXPECT_NE(_mkdir(dir.narrow("folder").c_str()), 0);
    EXPECT_EQ(errno, EEXIST);
    write("x");
    const std::pair<WString, DWORD> cases[] = {
        {dir.file(W("missing")), ERROR_FILE_NOT_FOUND},
        {dir.file(W("folder")), ERROR_ACCESS_DENIED},
        {dir.file(W("missing\\file")), ERROR_PATH_NOT_FOUND},
        {path + W("\\below"), ERROR_PATH_NOT_FOUND},
        {W(""), ERROR_PATH_NOT_FOUND},
        {dir.file(W("a|b")), ERROR_INVALID_NAME},
    };
    for (const auto& [name, error] : cases) {
        EXPECT_FALSE(DeleteFileW(name.c_str()));
        EXPECT_EQ(GetLastError(), error);
        EXPECT_EQ(open_handle(name, FILE_SHARE_READ), INVALID_HANDLE_VALUE);
        EXPECT_EQ(GetLastError(), error);
        EXPECT_EQ(open_stream(name, W("r")), nullptr);
    }
}

}  // namespace
