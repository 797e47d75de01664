// Follows the documents of a log, line by line. Documents that print at once are distinguished by the thread that
// drives each; lines written with Debug off name no thread, and are followed by PlainLines.
#pragma once

#include <functional>
#include <string_view>

#include "tools/tsport/report/attempts.h"
#include "tools/tsport/report/course.h"
#include "tools/tsport/report/line.h"
#include "tools/tsport/report/messages.h"
#include "tools/tsport/report/plain.h"

namespace tsport::report {

struct Listener {
    // A document whose end has been seen, or will not be.
    std::function<void(const Document&)> document;
    // An ERROR line that belongs to no document's course.
    std::function<void(std::string_view message)> other_error;
    // When it is set: each line of a document under way, after the document took notice of it. It may have no job yet.
    std::function<void(const Line&, const Message&, const Document&)> line;
};

class Follower {
  public:
    Follower(Texts& texts, Listener listener);
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;

    void listen_to_lines(decltype(Listener::line) line) { listener_.line = std::move(line); }

    // False when a part of the line that had to be understood could not be.
    bool take(Line& line);
    // The log is over: what is still under way has no end.
    void finish();

  private:
    struct Step;  // a line in its course
    bool take_detailed(const Line& line, const Message& message);
    bool dispatch(const Step& step);
    bool take_start(const Step& step);
    bool take_connection(const Step& step);
    bool take_data(const Step& step);
    bool take_end(const Step& step);
    bool take_check(const Step& step);
    bool take_rewriting(const Step& step);
    bool start(const Step& step);
    void settle_second_start(Course& course, Event event);
    void not_started(const Step& step, Trouble trouble);
    void abandoned(const Step& step);
    void connecting(const Step& step, Trouble trouble);
    void start_failed(const Step& step);
    bool given(const Step& step);
    void send_failed(const Step& step);
    void lost(const Step& step);
    void close_ended(const Step& step);
    bool ended(const Step& step);
    bool statistics(const Step& step);
    void held_for(const Step& step);
    void hold_ended(const Step& step);
    void helper_failed(const Step& step, Trouble trouble);
    void port_unknown(const Step& step);
    void monitor_started();

    void begin(Course& course, Stamp now);
    void begin(Course& course, const Course::Start& start);
    void close(Course& course);
    Outcome outcome_of(const Course& course) const;

    Texts& texts_;
    Listener listener_;
    Threads threads_;
    Attempts attempts_;
    PlainLines plain_;
    std::uint64_t count_ = 0;
};

// "text (Error: 5)" behind the message that it was appended to; "" when there is none.
std::string_view system_text_of(std::string_view message);
// The number in "... (Error: 5)"; -1 when there is none.
std::int64_t error_code_of(std::string_view message);

}  // namespace tsport::report
