// Statistics over the documents of a log, in bounded memory.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tsport/report/document.h"

namespace tsport::report {

// Counts values in classes of which each is about 3 % wide; below 32 each value has its own.
class Quantiles {
  public:
    void add(std::uint64_t value);
    std::uint64_t count() const { return count_; }
    // The value below which that share lies, as near as its class tells; 0 without values.
    std::uint64_t at(double share) const;
    std::uint64_t median() const { return at(0.5); }
    std::uint64_t p95() const { return at(0.95); }

  private:
    std::map<std::uint16_t, std::uint32_t> classes_;  // at most 1,000, and few in practice
    std::uint64_t count_ = 0;
    std::uint64_t least_ = UINT64_MAX;
    std::uint64_t most_ = 0;
};

// Documents are counted as jobs: by their last attempt, and each cause once for a job that it struck. Only times and
// bytes sent are those of all attempts.
struct Totals {
    std::uint64_t documents = 0;
    std::uint64_t attempts = 0;
    std::uint64_t taken = 0;
    std::uint64_t sent = 0;
    std::uint64_t held_ms = 0;
    std::uint64_t close_ms = 0;
    std::array<std::uint64_t, outcome_count> by_outcome{};
    std::array<std::uint64_t, cause_count> by_cause{};
    std::array<std::uint64_t, cause_count> attempts_by_cause{};

    // `earlier`: null for a document's first attempt.
    void add(const Document& document, const EarlierAttempt* earlier);
    std::uint64_t of(Outcome outcome) const { return by_outcome[static_cast<size_t>(outcome)]; }
    std::uint64_t of(Cause cause) const { return by_cause[static_cast<size_t>(cause)]; }
    std::uint64_t attempts_of(Cause cause) const { return attempts_by_cause[static_cast<size_t>(cause)]; }
    std::uint64_t printed() const { return of(Outcome::printed) + of(Outcome::late); }
    // Documents that were not printed, except those that are under way or whose end is not in the log.
    std::uint64_t failed() const;
    // Those that occurred, the most frequent first.
    std::vector<Cause> ranked_causes() const;
};

struct PrinterSums : Totals {
    std::string name;                   // "at ADDRESS" where the log does not name the printer
    Quantiles connect;                  // ms that a start took, without what the helper held it
    Quantiles throughput;               // bytes a second until the printer closed, of 64 KiB and more, not rewritten
    std::uint64_t restarted_often = 0;  // jobs that were tried three times and more
};

// A pattern, over several documents, that an administrator should know of.
struct Finding {
    const char* id;
    std::string printer;
    std::string text;
};

class Sums {
  public:
    static constexpr size_t most_printers = 1000;  // further ones are summed together

    void add(const Document& document, const EarlierAttempt* earlier, const Texts& texts);
    const Totals& all() const { return all_; }
    // The ones with the most documents first.
    std::vector<const PrinterSums*> printers() const;
    std::vector<Finding> findings() const;
    // What to do about a cause, with the printers' addresses in it.
    std::string remedy(Cause cause) const;

  private:
    static constexpr size_t most_addresses = 3;

    Totals all_;
    std::map<Cause, std::set<std::string>> addresses_;  // "10.1.2.3 9100", the first ones of each cause
    std::map<std::uint64_t, PrinterSums> printers_;
};

// The documents themselves: those that went wrong and those that did not apart, so that many of the latter do not push
// out the former. The oldest ones go first.
using DocumentList = std::vector<const Document*>;

class KeptDocuments {
  public:
    static constexpr size_t most_good = 140'000;
    static constexpr size_t most_bad = 60'000;

    void add(const Document& document);
    std::uint64_t left_out() const { return left_out_; }
    // Whether a document is one to be told of by --check.
    bool has_trouble() const;
    // Marks the attempts that another one follows. Once all documents have been added.
    void mark_tried_again();
    // In the order of their starts. The documents stay where they are until the next one is added.
    DocumentList in_order() const;

  private:
    std::deque<Document> good_;
    std::deque<Document> bad_;
    std::uint64_t left_out_ = 0;
};

// What messages of one kind have in common: no names, numbers and texts of the system.
std::string kind_of(std::string_view message);

// Errors that are no document's outcome, by their kinds.
class OtherErrors {
  public:
    static constexpr size_t most = 200;
    struct Error {
        std::string text;  // the first one's
        std::uint64_t count;
        std::optional<Cause> cause;  // that it has in documents, which names a remedy
    };
    void add(std::string_view message, std::optional<Cause> cause);
    // The most frequent first.
    std::vector<Error> in_order() const;

  private:
    std::map<std::string, Error, std::less<>> errors_;
};

}  // namespace tsport::report
