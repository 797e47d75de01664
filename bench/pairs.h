// Compares two ways of doing the same, alternating in one run, so that other load on the machine affects both.
#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

// A case that cannot be measured, or in which something went wrong; what() says it.
struct Failed : std::runtime_error {
    using std::runtime_error::runtime_error;
};
void require(bool good, const std::string& otherwise);
// The text is only built on failure.
inline void require(bool good, const char* otherwise) {
    if (!good) throw Failed(otherwise);
}

// Does it once; the seconds that count.
using Sample = std::function<double()>;

double seconds_of(const std::function<void()>& work);
double median(std::vector<double> values);

// In which a ratio lies.
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
    // What 95 of 100 ratios lie in that come of pairs drawn from these, as many as these, each as often as it is drawn.
    Interval interval() const;
};

struct Effort {
    int least_pairs = 7;
    int most_pairs = 31;
    double seconds = 10;  // no further pair begins after so long

    Effort of(double share) const { return {least_pairs, most_pairs, seconds * share}; }
};

// How much a ratio may swing that is judged by this bar: as far as the bar is from 1, and not less than 2 %.
double margin_of(double bar);

// A B A B ..., after a turn of each that does not count. With a bar it goes on, for up to four times the time, until
// the interval lies on one side of the bar and is no wider than the margin.
Pairs run_pairs(const Effort& effort, std::optional<double> bar, const Sample& first, const Sample& second);

}  // namespace bench
