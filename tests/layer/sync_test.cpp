// Critical sections.
#include "winapi/winapi.h"
// The front door comes first, as in the product.
#include <gtest/gtest.h>

#include <future>
#include <thread>
#include <vector>

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

TEST(CriticalSection, KeepsThreadsApart) {
    CRITICAL_SECTION section;
    ASSERT_TRUE(InitializeCriticalSectionAndSpinCount(&section, 0));
    int count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int k = 0; k < 2000; ++k) {
                EnterCriticalSection(&section);
                ++count;
                LeaveCriticalSection(&section);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(8000, count);
    DeleteCriticalSection(&section);
}

}  // namespace
