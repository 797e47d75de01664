// Which course of its job a document is. Only jobs that have failed and not come out since are remembered, a bounded
// number of them, and no longer than a day: job numbers are used again.
#pragma once

#include <cstdint>
#include <list>
#include <unordered_map>

#include "tools/tsport/report/document.h"

namespace tsport::report {

class Attempts {
  public:
    static constexpr size_t most = 4096;
    static constexpr Stamp longest = 86'400'000;

    // For a document that starts: 1 for the first course of its job.
    std::uint16_t number_for(TextId printer, std::uint32_t job, Stamp now) const;
    // Takes notice of how it went.
    void note(const Document& document);

  private:
    struct Job {
        std::uint16_t courses;
        Stamp last;
        std::list<std::uint64_t>::iterator place;
    };
    void forget_oldest();

    std::unordered_map<std::uint64_t, Job> jobs_;
    std::list<std::uint64_t> order_;  // the one that failed longest ago first
};

}  // namespace tsport::report
