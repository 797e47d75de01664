// What the monitor and its host have open, to be the same after something as before it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace test {

struct Stock {
    size_t handles = 0;      // of the layer
    size_t allocations = 0;  // of the global heap
    size_t printers = 0;     // opened in the spooler
    size_t tokens = 0;       // of identities
    std::uint64_t misuses = 0;
    size_t children = 0;
};

// Waits a moment for helpers, which end by themselves.
Stock take_stock();
// What has grown, empty when nothing has.
std::string grown(const Stock& before, const Stock& after);
// The children of this process that live.
size_t children();

}  // namespace test
