// Which attempt of its job a document is. Jobs that failed and have not printed since are remembered, for at most a
// day, because job numbers are reused.
#pragma once

#include <cstdint>
#include <unordered_map>

#include "tsport/report/document.h"

namespace tsport::report {

class Attempts {
  public:
    static constexpr size_t most = 65'536;  // when there are more, all are forgotten
    static constexpr std::chrono::hours longest{24};

    // For a document that starts: 1 for the first attempt of its job.
    std::uint16_t number_for(TextId printer, std::uint32_t job, Timestamp now) const;
    // Records its outcome.
    void note(const Document& document);

  private:
    struct Job {
        std::uint16_t attempts;
        Timestamp last;
    };
    std::unordered_map<std::uint64_t, Job> jobs_;
};

}  // namespace tsport::report
