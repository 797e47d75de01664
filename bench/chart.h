// A picture of throughput over the size of writes.
#pragma once

#include <string>
#include <vector>

namespace bench {

struct Series {
    std::string name;
    std::string colour;
    // Bytes of a write, and GiB/s. One with a single point does not choose its writes: it is drawn as a level.
    std::vector<std::pair<double, double>> points;
};

bool write_chart(const std::string& path, const std::vector<Series>& all);

}  // namespace bench
