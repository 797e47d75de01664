// The monitor's calls of other libraries' functions, seen by exchanging addresses in its import table.
#pragma once

#include "bench/report.h"

namespace bench {

// Of the monitor that is loaded now: each function that is Windows' own, and each of the runtime's that asks Windows
// for something about a file, is counted from here on.
void count_calls();
// How often each was called, by name.
Calls counted_calls();

}  // namespace bench
