// Libraries and the process heap.
#include "winapi/winapi.h"
// The front door comes first, as in the product.
#include <gtest/gtest.h>

namespace {

TEST(Module, AMissingLibraryIsReported) {
    EXPECT_EQ(nullptr, LoadLibraryW(W("C:\\Windows\\System32\\no_such_library.dll")));
    EXPECT_EQ(DWORD{ERROR_MOD_NOT_FOUND}, GetLastError());
}

TEST(Module, TheSystemDirectoryAsksForTheSizeItNeeds) {
    WCHAR directory[MAX_PATH] = {};
    const UINT needed = GetSystemDirectoryW(directory, 1);
    EXPECT_EQ(needed - 1, GetSystemDirectoryW(directory, needed));
    EXPECT_EQ(0, lstrcmpiW(W("C:\\Windows\\System32"), directory));
}

TEST(Module, GlobalMemoryIsZeroFilledWhenAskedFor) {
    constexpr size_t size = 4096;
    auto* const block = static_cast<BYTE*>(GlobalAlloc(GPTR, size));
    ASSERT_NE(nullptr, block);
    for (size_t i = 0; i < size; ++i) ASSERT_EQ(0, block[i]);
    EXPECT_EQ(nullptr, GlobalFree(block));
}

}  // namespace
