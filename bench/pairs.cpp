#include "bench/pairs.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "bench/plan.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double kLonger = 10;

bool is_settled(const Measured& measured, double bar) {
    const Interval interval = measured.deciding(bar).interval();
    return interval.is_beside(bar) && interval.high - interval.low <= std::max(std::fabs(bar - 1), 0.02);
}

}  // namespace

void require(bool good, const std::string& otherwise) {
    if (!good) throw Failed(otherwise);
}

double seconds_of(const std::function<void()>& work) {
    const auto begin = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

Cost cost_of(const std::function<void()>& work) {
    const double before = processor_seconds();
    const double wall = seconds_of(work);
    return {wall, processor_seconds() - before};
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t half = values.size() / 2;
    return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2;
}

std::vector<double> Pairs::ratios() const {
    std::vector<double> all;
    for (size_t i = 0; i < first.size(); ++i) all.push_back(first[i] / second[i]);
    return all;
}

// Of so many values, so many lie below the median in 95 of 100 cases: that gives the ranks of the interval's ends.
Interval Pairs::interval() const {
    std::vector<double> sorted = ratios();
    std::sort(sorted.begin(), sorted.end());
    const auto count = static_cast<double>(sorted.size());
    const auto low = static_cast<size_t>(std::max((count - 1.96 * std::sqrt(count)) / 2 - 1, 0.0));
    return {sorted[low], sorted[sorted.size() - 1 - low]};
}

Measured run_pairs(const SamplingPlan& sampling, std::optional<double> bar, const Sample& first, const Sample& second) {
    first();
    second();
    Measured measured;
    const auto begin = Clock::now();
    for (int done = 0;; ++done) {
        const double spent = std::chrono::duration<double>(Clock::now() - begin).count();
        const bool enough = done >= sampling.least_pairs && (done >= sampling.most_pairs || spent >= sampling.seconds);
        if (enough && (!bar || is_settled(measured, *bar) || spent >= sampling.seconds * kLonger)) break;
        const Cost ours = first();
        const Cost theirs = second();
        measured.wall.first.push_back(ours.wall);
        measured.wall.second.push_back(theirs.wall);
        measured.processor.first.push_back(ours.processor);
        measured.processor.second.push_back(theirs.processor);
    }
    return measured;
}

}  // namespace bench
