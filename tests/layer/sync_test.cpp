// Critical sections.
#include "winapi/winapi.h"
// winapi.h comes first, as in the product.
#include <gtest/gtest.h>

#include <future>

namespace {

TEST(CriticalSection, CanBeEnteredAgainAndIsFreeWhenLeftAsOften) {
    CRITICAL_SECTION section;
    ASSERT_TRUE(InitializeCriticalSectionAndSpinCount(&section, 4000));
    EnterCriticalSection(&section);
    EnterCriticalSection(&section);
    auto other = std::async(std::launch::async, [&] {
        EnterCriticalSection(&section);
        LeaveCriticalSection(&section);
    });
    LeaveCriticalSection(&section);
    EXPECT_EQ(std::future_status::timeout, other.wait_for(std::chrono::milliseconds(30)));
    LeaveCriticalSection(&section);
    EXPECT_EQ(std::future_status::ready, other.wait_for(std::chrono::seconds(20)));
    DeleteCriticalSection(&section);
}

}  // namespace
