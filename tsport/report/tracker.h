// Follows the documents of a log, line by line. Documents that print at once are distinguished by the thread that
// drives each; lines written with Debug off name no thread and go to DebugOffTracker.
#pragma once

#include <array>
#include <functional>
#include <string_view>

#include "tsport/report/attempts.h"
#include "tsport/report/debug_off.h"
#include "tsport/report/log_line.h"
#include "tsport/report/messages.h"
#include "tsport/report/thread_state.h"

namespace tsport::report {

struct Listener {
    // A document that has ended, or whose end is not in the log.
    std::function<void(const Document&)> document;
    // An ERROR line that says nothing of a document.
    std::function<void(std::string_view message)> other_error;
    // May be empty. Each line of a document under way, after the document has been updated; it may have no job yet.
    std::function<void(const LogLine&, const Message&, const Document&)> line;
};

class DocumentTracker {
  public:
    // The texts have to outlive the tracker.
    DocumentTracker(Texts& texts, Listener listener);
    DocumentTracker(const DocumentTracker&) = delete;
    DocumentTracker& operator=(const DocumentTracker&) = delete;

    // False when the line is of a known message, but its fields cannot be read.
    bool process(const LogLine& line);
    // The log is over: what is still under way has no end.
    void finish();

  private:
    // A line, and the thread that it belongs to.
    struct Entry {
        ThreadState& state;
        const LogLine& line;
        const Message& message;
        bool& readable;  // set to false when its fields cannot be read

        Document& document() const { return state.document; }
        Timestamp time() const { return line.time; }
        std::string_view rest() const { return message.rest; }
    };
    using Handler = void (*)(DocumentTracker& tracker, const Entry& entry);
    using Handlers = std::array<Handler, event_count>;
    static const Handlers handlers_;

    bool process_detailed(const LogLine& line, const Message& message);
    void dispatch(const Entry& entry);

    // What handlers call. Those with a result return false when the line's fields cannot be read.
    bool start(const Entry& entry);
    void settle_second_start(ThreadState& state, Event event);
    void port_closed(const Entry& entry);
    void port_unknown(const Entry& entry);
    void not_started(const Entry& entry, Cause cause);
    void refused(const Entry& entry);
    void abandoned(const Entry& entry);
    void data_abandoned(const Entry& entry);
    void monitor_started();
    void looking_up(const Entry& entry);
    void address_failed(const Entry& entry, Cause cause);
    void connect_failed(const Entry& entry);
    void start_failed(const Entry& entry);
    void close_ended(const Entry& entry);
    void bad_close(const Entry& entry, Cause cause);
    bool data_taken(const Entry& entry);
    bool data_sent(const Entry& entry);
    void send_failed(const Entry& entry);
    void connection_lost(const Entry& entry);
    void restart_refused(const Entry& entry);
    void no_document(const Entry& entry);
    bool ended(const Entry& entry);
    bool statistics(const Entry& entry);
    void held(const Entry& entry);
    void held_for(const Entry& entry);
    void hold_ended(const Entry& entry);
    void deleted_while_held(const Entry& entry);
    void helper_gone(const Entry& entry);
    void step_failed(const Entry& entry);
    void helper_failed(const Entry& entry, Cause cause);
    void rewriting_failed(const Entry& entry);

    void begin(ThreadState& state, Timestamp time);
    void begin(ThreadState& state, const ThreadState::Start& start);
    void close(ThreadState& state);

    Texts& texts_;
    Listener listener_;
    ThreadStates threads_;
    Attempts attempts_;
    DebugOffTracker debug_off_;
    std::uint64_t line_count_ = 0;
};

// "text (Error: 5)" behind the message that it was appended to; "" when there is none.
std::string_view system_text_of(std::string_view message);
// The number in "... (Error: 5)"; -1 when there is none.
std::int64_t error_code_of(std::string_view message);

}  // namespace tsport::report
