// One job of the soak: its bytes, what is prepared for it, and the failures of its printer. All of
// it comes from one random number generator, so that a seed repeats it.
#pragma once

#include <random>
#include <string>

#include "host/monitor_host.h"
#include "testbed/records.h"
#include "testbed/test_printer/tcp_printer.h"

namespace soak {

using Random = std::mt19937_64;

struct Plan {
    testbed::DocumentPlan document;  // what is prepared for it, the helper's script included
    host::Result result;             // unless a printer or an administrator is in the way
    std::string data;
    std::string first;  // what the first run sends: the data, or what the helper makes of it; nothing when that fails
    DWORD write_size = 0;
    test_printer::Behaviour behaviour;  // of the printer, on the first connection ...
    bool is_lost_always = false;        // ... or on all of them, none of which gets through
};

Plan make_plan(Random& random);
// A number from 0 on that is less than `end`.
std::uint64_t below(Random& random, std::uint64_t end);

}  // namespace soak
