// Misuse of critical sections, which Windows does not report.
#include "winapi/winapi.h"
// winapi.h comes first, as in the product.
#include <gtest/gtest.h>

#include <thread>

#include "winapi/linux/control.h"

namespace {

TEST(LinuxCriticalSection, MisuseIsCounted) {
    const auto before = winapi::misuses();
    CRITICAL_SECTION section;
    ASSERT_TRUE(InitializeCriticalSectionAndSpinCount(&section, 0));
    LeaveCriticalSection(&section);  // not held
    EXPECT_EQ(before + 1, winapi::misuses());
    EnterCriticalSection(&section);
    std::thread([&] { LeaveCriticalSection(&section); }).join();  // held by another
    EXPECT_EQ(before + 2, winapi::misuses());
    DeleteCriticalSection(&section);  // still held
    EXPECT_EQ(before + 3, winapi::misuses());
    EnterCriticalSection(&section);  // deleted
    EXPECT_EQ(before + 4, winapi::misuses());
}

}  // namespace
