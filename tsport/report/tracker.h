// Follows the documents of a log, line by line. Documents that print at once are distinguished by the thread that
// drives each; lines written with Debug off name no thread.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <unordered_map>
#include <vector>

#include "tsport/report/document.h"
#include "tsport/report/messages.h"

namespace tsport::report {

// -- Lines of a thread -----------------------------------------------------------------------------------------------

// What the lines of a thread have said of its document so far.
struct ThreadState {
    std::uint32_t thread = 0;
    std::uint64_t last_line = 0;  // its number in the log
    Timestamp last_time{};
    TextId port = 0;  // that the thread has opened last

    bool open = false;  // a document is under way
    Document document{};
    bool refused = false;
    bool dropped = false;
    bool not_started = false;
    bool lost = false;
    bool restart_requested = false;
    bool ended = false;
    bool measured = false;  // the log gives the duration of its end and of all of it
    bool failed_at_end = false;
    bool at_end = false;          // of the log: it may still go on
    std::uint32_t last_size = 0;  // of the buffer handed over last
    std::uint32_t held_at_start_ms = 0;
    std::uint32_t longest_write_ms = 0;
    bool connecting = false;
    std::optional<Timestamp> first_write{};
    std::optional<Timestamp> write_begun{};  // a buffer that the printer has not taken yet
    std::optional<Timestamp> held_since{};
    std::optional<Timestamp> close_awaited{};
    std::optional<Timestamp> end_begun{};
    std::optional<Cause> connect_failure{};  // the gravest one of the addresses tried so far
    TextId connect_failure_text = 0;
    TextId helper_failure_text = 0;

    // A start while the last document was open: whether it counts is told by the thread's next line.
    std::optional<Document> second_start{};
};

// A line and its thread.
struct Entry {
    ThreadState& state;
    const LogLine& line;
    const Message& message;
    Texts& texts;
};

// Notes the effect of a line on its thread's document, except where a document begins, or ends without having ended.
// False when the line's fields cannot be read.
bool apply(const Entry& entry);
// The document that a line starts; nothing when its fields cannot be read.
std::optional<Document> parse_start(const Entry& entry);

// "text (Error: 5)" behind the message that it was appended to; "" when there is none.
std::string_view system_text_of(std::string_view message);
// What broke a connection, by the system's text behind its message.
Cause loss_of(std::string_view message);

// -- Lines without a thread ------------------------------------------------------------------------------------------

// The lines of a log written with Debug off: no thread, no job, and nothing of documents that were printed. Each
// failure makes a document of which little more is known.
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

    bool process_failure(const LogLine& line, const Message& message);
    void add_loss(Timestamp time, Cause cause, std::string_view text = {});
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

// -- All of them -----------------------------------------------------------------------------------------------------

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

    bool dispatch(const Entry& entry);
    ThreadState& state_of(std::uint32_t thread);
    std::vector<ThreadState*> states_in_order();

    bool start(const Entry& entry);
    void monitor_started();

    void begin(ThreadState& state, const Document& begun);
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
