// What the fault sweep runs: each scenario prepares a world, does what may fail, and says what has to hold then.
#pragma once

#include <string>
#include <vector>

#include "tests/faults/world.h"

namespace faults {

struct Scenario {
    const char* name;
    // Without faults. Leaves the monitor loaded unless loading is what may fail.
    void (*prepare)(World& world);
    // With a fault. Returns what is wrong with its outcome, empty when it is one that may be.
    std::string (*run)(World& world);
    // Each of its calls fails once in every sample, too.
    bool is_sampled_whole = false;
};

const std::vector<Scenario>& scenarios();

// The pages that scenarios and the look afterwards print.
const std::string& page();

}  // namespace faults
