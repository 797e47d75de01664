// What only the layer's libraries have: counts, allocations that fail.
#include "winapi/winapi.h"
// winapi.h comes first, as in the product.
#include <gtest/gtest.h>

#include "winapi/linux/control.h"
#include "winapi/linux/fault.h"

extern "C" void* __wrap_malloc(size_t size);
extern "C" void* __wrap_calloc(size_t count, size_t size);
extern "C" void* __wrap_realloc(void* block, size_t size);

namespace {

TEST(LinuxModule, AllocationsAreCountedAndCanFail) {
    const size_t before = winapi::open_allocations();
    const auto misuses = winapi::misuses();
    const HGLOBAL block = GlobalAlloc(GPTR, 8);
    EXPECT_EQ(before + 1, winapi::open_allocations());
    EXPECT_EQ(GlobalFree(block), nullptr);
    EXPECT_EQ(before, winapi::open_allocations());
    char foreign = 0;
    EXPECT_EQ(&foreign, GlobalFree(&foreign));
    EXPECT_EQ(misuses + 1, winapi::misuses());

    void* kept = __wrap_malloc(8);
    winapi::fault::arm(1, winapi::fault::Mode::from_then_on);
    EXPECT_EQ(GlobalAlloc(GPTR, 8), nullptr);
    EXPECT_EQ(__wrap_malloc(8), nullptr);
    EXPECT_EQ(__wrap_calloc(1, 8), nullptr);
    EXPECT_EQ(__wrap_realloc(kept, 16), nullptr);
    winapi::fault::disarm();
    std::free(kept);
}

}  // namespace
