// Compares two ways of doing the same, alternating in one run, so that other load on the machine affects both.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

// A case that cannot be measured, or in which something went wrong; the words are for people.
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

struct Pairs {
    std::vector<double> first;
    std::vector<double> second;

    double first_median() const { return median(first); }
    double second_median() const { return median(second); }
    double ratio() const { return first_median() / second_median(); }
    // The first to the second of each pair.
    std::vector<double> ratios() const;
};

struct Effort {
    int least_pairs = 7;
    int most_pairs = 31;
    double seconds = 12;  // no further pair begins after so long

    Effort of(double share) const { return {least_pairs, most_pairs, seconds * share}; }
    // For a ratio close to its limit.
    Effort close() const { return {least_pairs, most_pairs * 3, seconds * 3}; }
};

// A B A B ..., after a turn of each that does not count.
Pairs run_pairs(const Effort& effort, const Sample& first, const Sample& second);

}  // namespace bench
