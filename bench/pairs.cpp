#include "bench/pairs.h"

#include <algorithm>
#include <chrono>

namespace bench {

using Clock = std::chrono::steady_clock;

void require(bool good, const std::string& otherwise) {
    if (!good) throw Failed(otherwise);
}

double seconds_of(const std::function<void()>& work) {
    const auto begin = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t half = values.size() / 2;
    return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2;
}

std::vector<double> Pairs::ratios() const {
    std::vector<double> each;
    for (size_t i = 0; i < first.size(); ++i) each.push_back(first[i] / second[i]);
    return each;
}

Pairs run_pairs(const Effort& effort, const Sample& first, const Sample& second) {
    first();
    second();
    Pairs pairs;
    const auto end = Clock::now() + std::chrono::duration<double>(effort.seconds);
    for (int done = 0; done < effort.most_pairs && (done < effort.least_pairs || Clock::now() < end); ++done) {
        pairs.first.push_back(first());
        pairs.second.push_back(second());
    }
    return pairs;
}

}  // namespace bench
