// What the monitor and its host have open, to be the same after something as before it.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace test {

// How many of each kind: handles of the layer, memory, what is open in the spooler, misuses, children.
using Stock = std::map<std::string, std::uint64_t>;

// Waits a moment for helpers, which end by themselves.
Stock take_stock();
// What has grown, empty when nothing has.
std::string grown(const Stock& before, const Stock& after);

}  // namespace test
