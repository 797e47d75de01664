// Follows the documents of a log, line by line. Documents that print at once are distinguished by the thread that
// drives each; lines written with Debug off name no thread and go to DebugOffTracker.
#pragma once

#include <functional>
#include <unordered_map>
#include <vector>

#include "tsport/report/debug_off.h"
#include "tsport/report/thread_state.h"

namespace tsport::report {

struct Listener {
    // An attempt that has ended, or whose end is not in the log; with what an earlier one of its job, if it was
    // counted, has left in the sums. Returns whether it counts.
    std::function<bool(const Document&, const EarlierAttempt*)> document;
    // An ERROR line that says nothing of a document.
    std::function<void(const LogLine&, const Message&)> other_error;
    // May be empty. Each line of a document under way, after the document has been updated; it may have no job yet.
    std::function<void(const LogLine&, const Message&, const Document&)> line;
};

class DocumentTracker {
  public:
    // Of more threads, the half that was not seen for longest is given up: their documents have no end.
    static constexpr size_t most_threads = 8192;
    // Jobs that failed and have not printed since are remembered, for a day, because job numbers are reused. When there
    // are more, all are forgotten.
    static constexpr size_t most_jobs = 65'536;
    static constexpr std::chrono::hours longest_job{24};

    // The texts have to outlive the tracker.
    DocumentTracker(Texts& texts, Listener listener);
    DocumentTracker(const DocumentTracker&) = delete;
    DocumentTracker& operator=(const DocumentTracker&) = delete;

    // False when the line is of a known message, but its fields cannot be read.
    bool process(const LogLine& line);
    // The log is over, and is seen at that time, which is not before its last line.
    void finish(Timestamp now);

  private:
    struct FailedJob {
        std::uint16_t attempts;
        Timestamp last;
        EarlierAttempt left;
        bool counted;
    };

    bool process_detailed(const LogLine& line, const Message& message);
    bool dispatch(const Entry& entry);
    ThreadState& state_of(std::uint32_t thread);
    std::vector<ThreadState*> states_in_order();

    bool start(const Entry& entry);
    void settle_second_start(ThreadState& state, Event event);
    void port_closed(ThreadState& state);
    void port_unknown(const Entry& entry);
    void monitor_started();

    void begin(ThreadState& state, Timestamp time);
    void begin(ThreadState& state, const ThreadState::Start& start);
    void close(ThreadState& state);
    void report(const Document& document);
    void judge_standstill(ThreadState& state, Timestamp now);

    Texts& texts_;
    Listener listener_;
    std::unordered_map<std::uint32_t, ThreadState> threads_;
    std::unordered_map<std::uint64_t, FailedJob> failed_jobs_;
    DebugOffTracker debug_off_;
    std::uint64_t line_count_ = 0;
};

}  // namespace tsport::report
