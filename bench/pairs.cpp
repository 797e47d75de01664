#include "bench/pairs.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <random>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double kLonger = 4;
constexpr size_t kDraws = 2000;

bool is_settled(const Pairs& pairs, std::optional<double> bar) {
    if (!bar) return true;
    const Interval interval = pairs.interval();
    return interval.is_beside(*bar) && interval.width() <= margin_of(*bar);
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

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t half = values.size() / 2;
    return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2;
}

Interval Pairs::interval() const {
    std::mt19937 random(1);  // the same pairs have the same interval
    std::uniform_int_distribution<size_t> any(0, first.size() - 1);
    std::vector<double> ratios;
    Pairs drawn = *this;
    for (size_t draw = 0; draw < kDraws; ++draw) {
        for (size_t i = 0; i < first.size(); ++i) {
            const size_t taken = any(random);
            drawn.first[i] = first[taken];
            drawn.second[i] = second[taken];
        }
        ratios.push_back(drawn.ratio());
    }
    std::sort(ratios.begin(), ratios.end());
    return {ratios[kDraws / 40], ratios[kDraws - 1 - kDraws / 40]};
}

double margin_of(double bar) {
    return std::max(std::fabs(bar - 1), 0.02);
}

Pairs run_pairs(const SamplingPlan& sampling, std::optional<double> bar, const Sample& first, const Sample& second) {
    first();
    second();
    Pairs pairs;
    const auto begin = Clock::now();
    for (int done = 0;; ++done) {
        const double spent = std::chrono::duration<double>(Clock::now() - begin).count();
        const bool enough = done >= sampling.most_pairs || spent >= sampling.seconds;
        if (done >= sampling.least_pairs && enough && (is_settled(pairs, bar) || spent >= sampling.seconds * kLonger))
            break;
        pairs.first.push_back(first());
        pairs.second.push_back(second());
    }
    return pairs;
}

}  // namespace bench
