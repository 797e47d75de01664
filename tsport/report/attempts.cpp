#include "tsport/report/attempts.h"

#include <algorithm>

namespace tsport::report {
namespace {

std::uint64_t key_of(TextId printer, std::uint32_t job) {
    return static_cast<std::uint64_t>(printer) << 32 | job;
}

}  // namespace

std::uint16_t Attempts::number_for(TextId printer, std::uint32_t job, Timestamp now) const {
    const auto found = jobs_.find(key_of(printer, job));
    if (found == jobs_.end() || now - found->second.last > longest) return 1;
    return static_cast<std::uint16_t>(std::min(found->second.attempts + 1, UINT16_MAX));
}

void Attempts::note(const Document& document) {
    if (!document.has_job || document.outcome == Outcome::unknown) return;
    const std::uint64_t key = key_of(document.printer, document.job);
    jobs_.erase(key);
    const Outcome outcome = document.outcome;
    if (outcome != Outcome::not_started && outcome != Outcome::restarted && outcome != Outcome::lost) return;
    if (jobs_.size() >= most) jobs_.clear();
    jobs_[key] = {document.attempt, document.end()};
}

}  // namespace tsport::report
