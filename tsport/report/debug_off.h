// The lines of a log written with Debug off: no thread, no job, and nothing of documents that were printed. Each
// failure makes a document of which little more is known.
#pragma once

#include <deque>
#include <functional>
#include <optional>

#include "tsport/report/document.h"
#include "tsport/report/messages.h"

namespace tsport::report {

class DebugOffTracker {
  public:
    using Report = std::function<void(const Document&)>;
    // The texts have to outlive the tracker.
    DebugOffTracker(Texts& texts, Report report) : texts_(texts), report_(std::move(report)) {}

    // False when the line says nothing of a document.
    bool process(const LogLine& line, const Message& message);
    // The log is over.
    void finish();

  private:
    static constexpr size_t most_losses = 256;
    static constexpr std::chrono::seconds same_moment{1};
    static constexpr std::chrono::minutes longest_loss{1};  // a broken connection is closed within half of that

    bool process_loss(Timestamp time, const Message& message);
    bool process_failure(const LogLine& line, const Message& message);
    void add_loss(Timestamp time, Cause cause, std::string_view text);
    void report_loss();
    void report_not_approved(Timestamp time, std::string_view rest);
    void report(Document document, Cause cause, TextId detail = 0);

    Texts& texts_;
    Report report_;
    std::deque<Document> losses_;   // connections that broke; the line that names the loss comes later
    std::optional<Document> last_;  // not reported yet
    TextId failed_step_ = 0;
    std::optional<Timestamp> missing_helper_;  // when it was looked for last
};

}  // namespace tsport::report
