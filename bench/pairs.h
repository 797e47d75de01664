// Compares two ways of doing the same, alternating in one run, so that other load on the machine affects both.
#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

// Thrown by a case that cannot be measured, or in which something went wrong.
struct Failed : std::runtime_error {
    using std::runtime_error::runtime_error;
};
void require(bool good, const std::string& otherwise);
// The text is only built on failure.
inline void require(bool good, const char* otherwise) {
    if (!good) throw Failed(otherwise);
}

// What a piece of work takes, in seconds: by the clock, and of processors, in user and system mode.
struct Cost {
    double wall = 0;
    double processor = 0;
};
// Runs once; returns what counts of it.
using Sample = std::function<Cost()>;

double seconds_of(const std::function<void()>& work);
Cost cost_of(const std::function<void()>& work);
double median(std::vector<double> values);

// A confidence interval.
struct Interval {
    double low;
    double high;

    bool is_beside(double value) const { return high <= value || low > value; }
};

// One quantity, measured in pairs.
struct Pairs {
    std::vector<double> first;
    std::vector<double> second;

    // The median of the pairs' ratios, and its 95 % confidence interval.
    double ratio() const { return median(ratios()); }
    Interval interval() const;

  private:
    std::vector<double> ratios() const;
};

struct Measured {
    Pairs wall;
    Pairs processor;

    // What decides about a bar: the time by the clock when its interval does, else the processor time.
    const Pairs& deciding(double bar) const { return wall.interval().is_beside(bar) ? wall : processor; }
};

struct SamplingPlan {
    int least_pairs = 7;
    int most_pairs = 31;
    double seconds = 4;  // without a bar no pair begins later than this
};

// Runs A B A B ..., after one run of each that does not count. With a bar it goes on, ten times as long at most, until
// the interval that decides is on one side of the bar and no wider than the bar's distance from 1, or 2 %.
Measured run_pairs(const SamplingPlan& sampling, std::optional<double> bar, const Sample& first, const Sample& second);

}  // namespace bench
