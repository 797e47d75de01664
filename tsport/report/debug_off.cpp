#include "tsport/report/debug_off.h"

#include <utility>

#include "tsport/report/tracker.h"

namespace tsport::report {
namespace {

// Where the detail of a cause comes from: the system's text behind the message, the line before it that named the step
// that failed, or the message itself.
enum class Source { nothing, system, step, message };

// A line that stands for a document on its own. With Debug off nothing tells whether the document went on and printed.
struct Failure {
    Event event;
    Outcome outcome;
    Cause cause;
    Source source;
};
constexpr Failure failures[] = {
    {Event::name_unusable, Outcome::not_started, Cause::printer_name_unusable, Source::system},
    {Event::printer_not_opened, Outcome::not_started, Cause::printer_not_in_spooler, Source::system},
    {Event::sent_nothing, Outcome::unknown, Cause::printer_took_nothing, Source::nothing},
    {Event::check_failed, Outcome::unknown, Cause::check_failed, Source::message},
    {Event::check_not_ended, Outcome::unknown, Cause::check_failed, Source::message},
    {Event::work_file_full, Outcome::unknown, Cause::work_file_full, Source::step},
    {Event::rewriting_failed, Outcome::lost, Cause::rewriting_failed, Source::step},
    {Event::printed_unchanged, Outcome::unknown, Cause::printed_unchanged, Source::step},
};

}  // namespace

bool DebugOffTracker::process(const LogLine& line, const Message& message) {
    report_overdue_losses(line.time);
    switch (message.event) {
        case Event::not_approved:
            report_not_approved(line.time, message.rest);
            return true;
        case Event::port_unknown:
            report_failed_start(line.time, Cause::port_unknown, texts_.add(message.rest), 0);
            return true;
        case Event::start_failed:
            report_failed_start(line.time, Cause::unreachable, 0, texts_.add(message.rest));
            return true;
        case Event::helper_gone:
        case Event::helper_not_started:
        case Event::rewriting_step_failed:
        case Event::work_file_failed:
            failed_step_ = texts_.add(line.message);
            return true;
        default:
            return process_loss(line.time, message) || process_failure(line, message);
    }
}

bool DebugOffTracker::process_loss(Timestamp time, const Message& message) {
    switch (message.event) {
        case Event::send_failed:
            add_loss(time, error_code_of(message.rest) == 10054 ? Cause::connection_reset : Cause::connection_lost,
                     system_text_of(message.rest));
            return true;
        case Event::send_timed_out:
            add_loss(time, Cause::printer_stalled, {});
            return true;
        case Event::send_error:
            add_loss(time, Cause::connection_lost, {});
            return true;
        case Event::lost:
            if (losses_.empty()) add_loss(time, Cause::connection_lost, {});
            report_loss();
            return true;
        case Event::close_not_seen:
            // The close of a broken connection may wait as long.
            if (losses_.empty()) report(time, Outcome::printed, Cause::close_not_seen);
            return true;
        case Event::close_broken:
            if (losses_.empty()) {
                report(time, Outcome::printed, Cause::broken_at_end, texts_.add("error " + std::string(message.rest)));
            }
            return true;
        default:
            return false;
    }
}

bool DebugOffTracker::process_failure(const LogLine& line, const Message& message) {
    for (const Failure& failure : failures) {
        if (failure.event != message.event) continue;
        TextId detail = 0;
        if (failure.source == Source::system) detail = texts_.add(system_text_of(message.rest));
        if (failure.source == Source::message) detail = texts_.add(line.message);
        if (failure.source == Source::step) detail = std::exchange(failed_step_, 0);
        report(line.time, failure.outcome, failure.cause, detail);
        return true;
    }
    return false;
}

void DebugOffTracker::finish() {
    while (!losses_.empty()) report_loss();
    if (last_) report_(*last_);
    last_.reset();
}

void DebugOffTracker::add_loss(Timestamp time, Cause cause, std::string_view text) {
    if (losses_.size() == most_losses) losses_.pop_front();
    losses_.push_back({cause, texts_.add(text), time});
}

// Of the document whose connection broke first.
void DebugOffTracker::report_loss() {
    const Loss first = losses_.front();
    losses_.pop_front();
    report(first.time, Outcome::lost, first.cause, first.detail);
}

// A job that loses its connection once more has no line of level ERROR for it.
void DebugOffTracker::report_overdue_losses(Timestamp now) {
    while (!losses_.empty() && now - losses_.front().time > longest_loss) report_loss();
}

void DebugOffTracker::report(Timestamp time, Outcome outcome, Cause cause, TextId detail) {
    Document document;
    document.start = time;
    document.outcome = outcome;
    document.add(cause, detail);
    report(document);
}

void DebugOffTracker::report_failed_start(Timestamp time, Cause cause, TextId port, TextId address) {
    Document document;
    document.start = time;
    document.outcome = Outcome::not_started;
    document.port = port;
    document.address = address;
    document.add(cause);
    report(document);
}

// 'N on printer "NAME" has been resumed outside of ...'
void DebugOffTracker::report_not_approved(Timestamp time, std::string_view rest) {
    Document document;
    document.start = time;
    document.outcome = Outcome::refused;
    document.add(Cause::not_approved);
    const auto job = take_number(rest);
    constexpr std::string_view before = " on printer \"";
    const size_t end = rest.rfind("\" has been resumed outside of ");
    if (job && rest.starts_with(before) && end != std::string_view::npos && end >= before.size()) {
        document.job = static_cast<std::uint32_t>(*job);
        document.has_job = true;
        document.printer = texts_.add(rest.substr(before.size(), end - before.size()));
    }
    report(document);
}

// A failed check is tried once more: the helper's failure is logged twice for one document.
void DebugOffTracker::report(const Document& document) {
    const bool again = last_ && last_->causes == document.causes && document.has(Cause::check_failed) &&
                       document.start - last_->start < std::chrono::seconds(1);
    if (again) return;
    if (last_) report_(*last_);
    last_ = document;
}

}  // namespace tsport::report
