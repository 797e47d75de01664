// The results of the cases, as tables for people and as JSON.
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
    std::optional<Measured> pairs = {};  // when it was measured in pairs
    std::optional<double> bar = {};      // upper limit of the ratio, or of our figure when there is no ratio
    std::string note = {};               // instead of figures, or behind them

    bool measured() const { return !unit.empty(); }
    // Of pairs, that of the time by the clock.
    double ratio() const { return pairs ? pairs->wall.ratio() : ours / theirs; }
    // "held" when all of the interval that decides is at or below the bar, else "missed"; empty without a bar.
    std::string verdict() const;
};

// Costs of a pair as a row: each divided by `parts` and multiplied for the unit (1e6: microseconds).
Row pair_row(const std::string& name, const std::string& against, const Measured& pairs, std::optional<double> bar = {},
             const std::string& unit = "ms", double factor = 1e3, double parts = 1);
// One figure of ours; beside another one where `against` says which.
Row figure_row(const std::string& name, const std::string& unit, double ours, std::optional<double> bar = {},
               const std::string& against = {}, double theirs = 0, const std::string& note = {});

// How often each of some functions was called for one piece of work.
using Calls = std::map<std::string, double>;
// "send 2, CloseHandle 1": the most frequent first, without those that hardly come.
std::string calls_to_text(const Calls& calls);

class Report {
  public:
    // Shows it at once, too.
    void add(Row row);
    void skip(const std::string& name, const std::string& why) { add({.name = name, .note = why}); }
    // Of the rows with a bar.
    bool all_held() const;
    // The rows with a bar, then the others.
    void print_tables() const;
    bool write_json(const std::string& path) const;
    // Runs cases that may fail; then the report shows the message, and the bar does not count as held.
    template <typename Cases>
    void run(const std::string& name, Cases cases) {
        try {
            cases();
        } catch (const Failed& failure) {
            failed_ = true;
            skip(name, std::string("FAILED: ") + failure.what());
        }
    }

  private:
    std::vector<Row> rows_;
    bool failed_ = false;
};

}  // namespace bench
