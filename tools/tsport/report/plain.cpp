#include "tools/tsport/report/plain.h"

#include <utility>

#include "tools/tsport/report/follow.h"

namespace tsport::report {

namespace {

// Where the words of a cause come from: the system's text behind the message, the line before it that told a step's
// failure, or the message itself.
enum class Source { nothing, system, step, message };

// A line that stands for a document on its own. With Debug off nothing tells whether the document went on and printed.
struct Failure {
    Event event;
    Outcome outcome;
    Trouble trouble;
    Source source;
};
constexpr Failure failures[] = {
    {Event::name_unusable, Outcome::not_started, Trouble::printer_name_unusable, Source::system},
    {Event::printer_not_opened, Outcome::not_started, Trouble::printer_not_in_spooler, Source::system},
    {Event::sent_nothing, Outcome::unknown, Trouble::printer_took_nothing, Source::nothing},
    {Event::check_failed, Outcome::unknown, Trouble::check_failed, Source::message},
    {Event::check_not_ended, Outcome::unknown, Trouble::check_failed, Source::message},
    {Event::work_file_full, Outcome::unknown, Trouble::work_file_full, Source::step},
    {Event::rewriting_failed, Outcome::lost, Trouble::rewriting_failed, Source::step},
    {Event::printed_unchanged, Outcome::unknown, Trouble::printed_unchanged, Source::step},
};

}  // namespace

bool PlainLines::take(Stamp now, std::string_view message, const Message& known) {
    tell_overdue(now);
    switch (known.event) {
        case Event::not_approved:
            tell_not_approved(now, known.rest);
            return true;
        case Event::port_unknown:
            tell_place(now, Trouble::port_unknown, texts_.add(known.rest), 0);
            return true;
        case Event::start_failed:
            tell_place(now, Trouble::unreachable, 0, texts_.add(known.rest));
            return true;
        case Event::helper_gone:
        case Event::helper_not_started:
        case Event::rewriting_step_failed:
        case Event::work_file_failed:
            step_ = texts_.add(message);
            return true;
        default:
            return take_loss(now, known) || take_failure(now, message, known);
    }
}

bool PlainLines::take_loss(Stamp now, const Message& known) {
    switch (known.event) {
        case Event::send_failed:
            loss(now, error_code_of(known.rest) == 10054 ? Trouble::connection_reset : Trouble::connection_lost,
                 system_text_of(known.rest));
            return true;
        case Event::send_timed_out:
            loss(now, Trouble::printer_stalled, {});
            return true;
        case Event::send_error:
            loss(now, Trouble::connection_lost, {});
            return true;
        case Event::lost:
            lost(now);
            return true;
        case Event::close_not_seen:
            // The close of a broken connection may wait as long.
            if (losses_.empty()) tell(now, Outcome::printed, Trouble::close_not_seen);
            return true;
        case Event::close_broken:
            if (losses_.empty()) {
                tell(now, Outcome::printed, Trouble::broken_at_end, texts_.add("error " + std::string(known.rest)));
            }
            return true;
        default:
            return false;
    }
}

bool PlainLines::take_failure(Stamp now, std::string_view message, const Message& known) {
    for (const Failure& failure : failures) {
        if (failure.event != known.event) continue;
        TextId detail = 0;
        if (failure.source == Source::system) detail = texts_.add(system_text_of(known.rest));
        if (failure.source == Source::message) detail = texts_.add(message);
        if (failure.source == Source::step) detail = std::exchange(step_, 0);
        tell(now, failure.outcome, failure.trouble, detail);
        return true;
    }
    return false;
}

void PlainLines::finish() {
    tell_overdue(INT64_MAX);
    if (last_) tell_(*last_);
    last_.reset();
}

void PlainLines::loss(Stamp now, Trouble trouble, std::string_view text) {
    if (losses_.size() == most_losses) losses_.pop_front();
    losses_.push_back({trouble, texts_.add(text), now});
}

// The line of the document whose connection broke first, of those that have not had theirs.
void PlainLines::lost(Stamp now) {
    if (losses_.empty()) {
        tell(now, Outcome::lost, Trouble::connection_lost);
        return;
    }
    const Loss first = losses_.front();
    losses_.pop_front();
    tell(first.at, Outcome::lost, first.trouble, first.detail);
}

// A job that loses its connection once more has no line of level ERROR for it.
void PlainLines::tell_overdue(Stamp now) {
    while (!losses_.empty() && now - losses_.front().at > longest_loss) {
        const Loss first = losses_.front();
        losses_.pop_front();
        tell(first.at, Outcome::lost, first.trouble, first.detail);
    }
}

void PlainLines::tell(Stamp now, Outcome outcome, Trouble trouble, TextId detail) {
    Document document;
    document.start = now;
    document.outcome = outcome;
    document.add(trouble, detail);
    tell(document);
}

void PlainLines::tell_place(Stamp now, Trouble trouble, TextId port, TextId address) {
    Document document;
    document.start = now;
    document.outcome = Outcome::not_started;
    document.port = port;
    document.address = address;
    document.add(trouble);
    tell(document);
}

// 'N on printer "NAME" has been resumed outside of ...'
void PlainLines::tell_not_approved(Stamp now, std::string_view rest) {
    Document document;
    document.start = now;
    document.outcome = Outcome::refused;
    document.add(Trouble::not_approved);
    const auto job = take_number(rest);
    constexpr std::string_view before = " on printer \"";
    const size_t end = rest.rfind("\" has been resumed outside of ");
    if (job && rest.starts_with(before) && end != std::string_view::npos && end >= before.size()) {
        document.job = static_cast<std::uint32_t>(*job);
        document.has_job = true;
        document.printer = texts_.add(rest.substr(before.size(), end - before.size()));
    }
    tell(document);
}

// A failed check is tried once more, and one document's helper tells its failure twice.
void PlainLines::tell(Document document) {
    const bool again = last_ && last_->trouble == document.trouble && document.has(Trouble::check_failed) &&
                       document.start - last_->start < 1000;
    if (again) return;
    if (last_) tell_(*last_);
    last_ = document;
}

}  // namespace tsport::report
