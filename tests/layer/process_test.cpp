// What the product relies on in pipes.
#include "winapi/winapi.h"
// winapi.h comes first, as in the product.
#include <gtest/gtest.h>

#include <string>

namespace {

// A conversation may rely on the size it asked for: nobody reads while it writes.
TEST(Pipe, TakesAsMuchAsWasAskedForAndEndsWithTheOtherEnd) {
    HANDLE read_end = nullptr;
    HANDLE write_end = nullptr;
    constexpr DWORD size = 256 * 1024;
    std::string large(size, 'x');
    DWORD count = 0;
    ASSERT_TRUE(CreatePipe(&read_end, &write_end, nullptr, size));
    EXPECT_TRUE(WriteFile(write_end, large.data(), size, &count, nullptr));
    EXPECT_EQ(count, size);
    CloseHandle(write_end);
    DWORD all = 0;
    while (ReadFile(read_end, large.data(), size, &count, nullptr)) all += count;
    EXPECT_EQ(GetLastError(), DWORD{ERROR_BROKEN_PIPE});
    EXPECT_EQ(all, size);
    CloseHandle(read_end);

    ASSERT_TRUE(CreatePipe(&read_end, &write_end, nullptr, 0));
    CloseHandle(read_end);
    EXPECT_FALSE(WriteFile(write_end, "lost", 4, &count, nullptr));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_DATA});
    CloseHandle(write_end);
}

}  // namespace
