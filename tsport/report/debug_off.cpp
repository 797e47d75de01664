#include <utility>

#include "tsport/report/tracker.h"

namespace tsport::report {
namespace {

// What the rest of the message is (a port, an address, an error code), or where the detail of the cause comes from: the
// system's text behind the message, the line before it that named the step that failed, or the message itself.
enum class Source { nothing, port, address, code, system, step, message };

// A line that stands for a document on its own. With Debug off nothing tells whether the document went on and printed.
struct Failure {
    Event event;
    Outcome outcome;
    Cause cause;
    Source source;
};
constexpr Failure failures[] = {
    {Event::port_unknown, Outcome::not_started, Cause::port_unknown, Source::port},
    {Event::start_failed, Outcome::not_started, Cause::unreachable, Source::address},
    {Event::name_unusable, Outcome::not_started, Cause::printer_name_unusable, Source::system},
    {Event::printer_not_opened, Outcome::not_started, Cause::printer_not_in_spooler, Source::system},
    {Event::sent_nothing, Outcome::unknown, Cause::printer_took_nothing, Source::nothing},
    {Event::check_failed, Outcome::unknown, Cause::check_failed, Source::message},
    {Event::work_file_full, Outcome::unknown, Cause::work_file_full, Source::step},
    {Event::rewriting_failed, Outcome::lost, Cause::rewriting_failed, Source::step},
    {Event::printed_unchanged, Outcome::unknown, Cause::printed_unchanged, Source::step},
    {Event::close_not_seen, Outcome::printed, Cause::close_not_seen, Source::nothing},
    {Event::close_broken, Outcome::printed, Cause::broken_at_end, Source::code},
};

}  // namespace

bool DebugOffTracker::process(const LogLine& line, const Message& message) {
    // A job that loses its connection once more has no line of level ERROR for it.
    while (!losses_.empty() && line.time - losses_.front().start > longest_loss) report_loss();
    switch (message.event) {
        case Event::not_approved:
            report_not_approved(line.time, message.rest);
            return true;
        case Event::helper_not_found:
            missing_helper_ = line.time;
            return false;
        case Event::helper_gone:
        case Event::step_failed:
        case Event::rewriting_step_failed:
            failed_step_ = texts_.add(line.message);
            return true;
        case Event::send_failed:
            add_loss(line.time, loss_of(message.rest), system_text_of(message.rest));
            return true;
        case Event::send_timed_out:
            add_loss(line.time, Cause::printer_stalled);
            return true;
        case Event::lost:
            if (losses_.empty()) add_loss(line.time, Cause::connection_lost);
            report_loss();
            return true;
        // The close of a broken connection may end in the same ways.
        case Event::close_step_failed:
        case Event::close_not_seen:
        case Event::close_broken:
            return !losses_.empty() || process_failure(line, message);
        default:
            return process_failure(line, message);
    }
}

bool DebugOffTracker::process_failure(const LogLine& line, const Message& message) {
    for (const Failure& failure : failures) {
        if (failure.event != message.event) continue;
        Document document{.start = line.time, .outcome = failure.outcome};
        TextId detail = 0;
        Cause cause = failure.cause;
        if (failure.source == Source::port) document.port = texts_.add(message.rest);
        if (failure.source == Source::address) document.address = texts_.add(message.rest);
        if (failure.source == Source::code) detail = texts_.add("error " + std::string(message.rest));
        if (failure.source == Source::system) detail = texts_.add(system_text_of(message.rest));
        if (failure.source == Source::message) detail = texts_.add(line.message);
        if (cause == Cause::rewriting_failed && missing_helper_ && line.time - *missing_helper_ < same_moment) {
            cause = Cause::helper_missing_for_rewriting;
        } else if (failure.source == Source::step) {
            detail = std::exchange(failed_step_, 0);
        }
        report(document, cause, detail);
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
    losses_.push_back({.start = time, .outcome = Outcome::unknown});
    losses_.back().add(cause, texts_.add(text));
}

// Of the document whose connection broke first.
void DebugOffTracker::report_loss() {
    const Document loss = losses_.front();
    losses_.pop_front();
    report(loss, *loss.cause(), loss.detail);
}

// 'N on printer "NAME" has been resumed outside of ...'
void DebugOffTracker::report_not_approved(Timestamp time, std::string_view rest) {
    Document document{.start = time, .outcome = Outcome::refused};
    const auto job = take_number(rest);
    constexpr std::string_view before = " on printer \"";
    const size_t end = rest.rfind("\" has been resumed outside of ");
    if (job && rest.starts_with(before) && end != std::string_view::npos && end >= before.size()) {
        document.job = static_cast<std::uint32_t>(*job);
        document.has_job = true;
        document.printer = texts_.add(rest.substr(before.size(), end - before.size()));
    }
    report(document, Cause::not_approved);
}

// A failed check is tried once more: the helper's failure is logged twice for one document.
void DebugOffTracker::report(Document document, Cause cause, TextId detail) {
    document.add(cause, detail);
    const bool again = last_ && last_->causes == document.causes && document.has(Cause::check_failed) &&
                       document.start - last_->start < same_moment;
    if (again) return;
    if (last_) report_(*last_);
    last_ = document;
}

}  // namespace tsport::report
