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

// Runs once; returns the seconds that count.
using Sample = std::function<double()>;

double seconds_of(const std::function<void()>& work);
double median(std::vector<double> values);

// A confidence interval.
struct Interval {
    double low;
    double high;

    double width() const { return high - low; }
    bool is_beside(double value) const { return high <= value || low > value; }
};

struct Pairs {
    std::vector<double> first;
    std::vector<double> second;

    double first_median() const { return median(first); }
    double second_median() const { return median(second); }
    double ratio() const { return first_median() / second_median(); }
    // The 95 % bootstrap confidence interval of the ratio.
    Interval interval() const;
};

struct SamplingPlan {
    int least_pairs = 7;
    int most_pairs = 31;
    double seconds = 10;  // no pair begins later than this

    SamplingPlan of(double share) const { return {least_pairs, most_pairs, seconds * share}; }
};

// The widest interval by which this bar can be judged: the bar's distance from 1, at least 2 %.
double margin_of(double bar);

// Runs A B A B ..., after one run of each that does not count. With a bar it continues, for up to four times the time,
// until the interval is on one side of the bar and no wider than the margin.
Pairs run_pairs(const SamplingPlan& sampling, std::optional<double> bar, const Sample& first, const Sample& second);

}  // namespace bench
