// An attempt to print a document: one run of a job from StartDocPort to EndDocPort. A job that is sent again has
// several.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tsport/report/log_line.h"
#include "tsport/report/texts.h"

namespace tsport::report {

enum class Outcome : std::uint8_t {
    printed,
    late,         // printed, after it was held or after an earlier attempt of the job had failed
    refused,      // not approved: accepted and discarded
    dropped,      // ordered by the helper: accepted and discarded
    not_started,  // StartDocPort or OpenPort failed
    restarted,    // lost, and the spooler was asked to send the job again
    lost,         // some of it has not reached the printer, and nobody was asked to send it again
    under_way,    // the log ends before it
    unknown,      // its end is not in the log
};
constexpr size_t outcome_count = 9;

// What went wrong with a document, or beside it. A document's cause is the first of its cause_count in this order: what
// kept it from the printer comes before what only delayed or changed it.
enum class Cause : std::uint8_t {
    port_unknown,
    printer_name_unusable,
    printer_not_in_spooler,
    not_approved,
    dropped_by_helper,
    address_unknown,
    connection_refused,
    connection_timed_out,
    unreachable,
    connection_reset,
    connection_lost,
    printer_stalled,
    printer_took_nothing,
    restart_refused,
    broken_at_end,
    helper_missing_for_rewriting,
    work_file_full,
    rewriting_failed,
    printed_unchanged,
    close_not_seen,
    job_deleted_while_held,
    check_failed,
    helper_missing_for_check,
    held,
    printer_slow,
    identity,
    started_twice,
    monitor_restarted,
};
constexpr size_t cause_count = 28;

struct Info {
    const char* id;                // for scripts
    const char* text;              // for people: what happened, as part of a sentence
    const char* remedy = nullptr;  // what to look at or to do about a cause
};
const Info& info_of(Outcome outcome);
const Info& info_of(Cause cause);

struct Document {
    Timestamp start{};
    std::uint64_t taken = 0;  // bytes that the monitor took from the spooler ...
    std::uint64_t sent = 0;   // ... and that went to the printer
    TextId printer = 0;
    TextId port = 0;
    TextId address = 0;
    TextId detail = 0;    // of its cause: the system's text, as it stands in the log
    TextId held_for = 0;  // the device's problem
    std::uint32_t job = 0;
    std::uint32_t thread = 0;
    std::uint32_t writes = 0;
    std::uint32_t start_ms = 0;    // duration of StartDocPort, ...
    std::uint32_t write_ms = 0;    // ... of all calls of WritePort ...
    std::uint32_t end_ms = 0;      // ... and of EndDocPort
    std::uint32_t total_ms = 0;    // from the start to the end
    std::uint32_t held_ms = 0;     // of the start and the end, by the helper
    std::uint32_t connect_ms = 0;  // of the start, what the helper did not take
    std::uint32_t close_ms = 0;    // of the end, waiting for the printer to close its side
    std::uint32_t causes = 0;      // bit n: Cause n
    std::uint32_t still_ms = 0;    // of one that is under way: since the last line about it
    std::uint16_t attempt = 1;     // of its job
    std::uint16_t number = 0;      // TCP port of the address, from a connection that failed; 0: not in the log
    Outcome outcome = Outcome::unknown;
    bool started = false;      // its start is in the log
    bool has_job = false;      // the log names the job
    bool rewritten = false;    // with forced attributes
    bool detailed = false;     // written with Debug on: what is 0 is known to be 0
    bool tried_again = false;  // another attempt of its job follows

    bool has(Cause which) const { return (causes >> static_cast<unsigned>(which) & 1) != 0; }
    // With the system's text, which is kept when this is the first of its causes.
    void add(Cause which, TextId text = 0);
    void remove(Cause which);
    // In the middle of its data.
    bool lost_connection() const {
        return has(Cause::connection_reset) || has(Cause::connection_lost) || has(Cause::printer_stalled);
    }
    bool may_be_tried_again() const {
        return outcome == Outcome::not_started || outcome == Outcome::restarted || outcome == Outcome::lost;
    }
    bool is_open() const { return outcome == Outcome::unknown || outcome == Outcome::under_way; }
    bool came_out() const { return outcome == Outcome::printed || outcome == Outcome::late; }
    // For the one who looks after the printers: it did not come out, or there is a reason to fear so.
    bool is_trouble() const { return !tried_again && !came_out() && (!is_open() || cause()); }
    // Of this job and this printer; 0 when the log does not name both.
    std::uint64_t job_key() const { return has_job && printer != 0 ? std::uint64_t{printer} << 32 | job : 0; }
    // The first of its causes.
    std::optional<Cause> cause() const;
    Timestamp end() const { return start + std::chrono::milliseconds(total_ms); }
};

// What an earlier attempt of the same job has left in sums that count jobs.
struct EarlierAttempt {
    Outcome outcome;
    std::uint64_t taken;
    std::uint32_t causes;  // bit n: Cause n was the cause of one of the job's attempts
};

// The text of its cause, with the system's text or with what it was held for, and where the log does not know its fate;
// "" without one.
std::string cause_text(const Document& document, const Texts& texts);

}  // namespace tsport::report
