// What this process holds.
#pragma once

#include <cstddef>

namespace test {

size_t handles_of_all_kinds();
// Bytes of the blocks in use in all heaps, the runtime's among them.
size_t memory_in_use();

}  // namespace test
