// The results of the cases, as a table for people and as JSON.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "bench/pairs.h"

namespace bench {

struct Row {
    std::string name = {};
    std::string unit = {};
    double ours = 0;
    std::string against = {};  // empty: nothing to compare with
    double theirs = 0;
    size_t pairs = 0;                       // 0: it was not measured in pairs
    std::optional<Interval> interval = {};  // of the ratio, when it was
    std::optional<double> bar = {};         // upper limit of the ratio, or of our figure when there is no ratio
    std::string note = {};                  // instead of figures, or behind them

    bool measured() const { return !unit.empty(); }
    double ratio() const { return ours / theirs; }
    double judged() const { return against.empty() ? ours : ratio(); }
    // "held", "missed" or "not decided", the last when the bar lies within the interval; empty without a bar.
    std::string verdict() const;
};

// Seconds of a pair as a row: each divided by `parts` and multiplied for the unit (1e6: microseconds).
Row pair_row(const std::string& name, const std::string& against, const Pairs& pairs, std::optional<double> bar = {},
             const std::string& unit = "ms", double factor = 1e3, double parts = 1);
// One figure of ours; beside another one where `against` says which.
Row figure_row(const std::string& name, const std::string& unit, double ours, std::optional<double> bar = {},
               const std::string& against = {}, double theirs = 0);
Row skipped_row(const std::string& name, const std::string& why);

// How often each of some functions was called for one piece of work.
using Calls = std::map<std::string, double>;
// "send 2, CloseHandle 1": the most frequent first, without those that hardly come.
std::string calls_to_text(const Calls& calls);

class Report {
  public:
    // Shows it at once, too.
    void add(Row row);
    // Of the rows with a bar.
    bool all_held() const;
    void print_table() const;
    bool write_json(const std::string& path) const;
    // Runs cases that may fail; then the report shows the message, and the bar does not count as held.
    template <typename Cases>
    void run(const std::string& name, Cases cases) {
        try {
            cases();
        } catch (const Failed& failure) {
            failed_ = true;
            add(skipped_row(name, std::string("FAILED: ") + failure.what()));
        }
    }

  private:
    std::vector<Row> rows_;
    bool failed_ = false;
};

}  // namespace bench
