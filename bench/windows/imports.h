// The monitor's calls of other libraries' functions, seen by exchanging addresses in its import table.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace bench {

// Of the monitor that is loaded now: each function that is Windows' own, and each of the runtime's that asks Windows
// for something about a file, is counted from here on.
void count_calls();
// How often each was called, by name.
std::map<std::string, std::uint64_t> counted_calls();

}  // namespace bench
