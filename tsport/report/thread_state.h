// The document that a thread of the spooler is driving, and what a line of the log says of it.
#pragma once

#include <optional>

#include "tsport/report/document.h"
#include "tsport/report/messages.h"

namespace tsport::report {

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
    struct Start {
        TextId printer;
        std::uint32_t job;
        Timestamp time;
    };
    std::optional<Start> second_start{};
};

// A line and its thread.
struct Entry {
    ThreadState& state;
    const LogLine& line;
    const Message& message;
    Texts& texts;

    Document& document() const { return state.document; }
    Timestamp time() const { return line.time; }
    std::string_view rest() const { return message.rest; }
};

// Notes the effect of a line on its thread's document, except where a document begins, or ends without having ended.
// False when the line's fields cannot be read.
bool apply(const Entry& entry);
// What a line says of the document that starts; nothing when its fields cannot be read.
std::optional<ThreadState::Start> parse_start(const Entry& entry);

// "text (Error: 5)" behind the message that it was appended to; "" when there is none.
std::string_view system_text_of(std::string_view message);
// What broke a connection, by the system's text behind its message.
Cause loss_of(std::string_view message);

}  // namespace tsport::report
