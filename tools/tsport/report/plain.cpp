#include "tools/tsport/report/plain.h"

#include "tools/tsport/report/follow.h"

namespace tsport::report {

bool PlainLines::take(Stamp now, std::string_view message, const Message& known) {
    tell_overdue(now);
    switch (known.event) {
        case Event::not_approved:
            tell_not_approved(now, known.rest);
            return true;
        case Event::name_unusable:
            tell(now, Outcome::not_started, Trouble::printer_name_unusable, texts_.add(system_text_of(known.rest)));
            return true;
        case Event::printer_not_opened:
            tell(now, Outcome::not_started, Trouble::printer_not_in_spooler, texts_.add(system_text_of(known.rest)));
            return true;
        case Event::port_unknown: {
            Document document;
            document.start = now;
            document.outcome = Outcome::not_started;
            document.port = texts_.add(known.rest);
            document.add(Trouble::port_unknown);
            tell(document);
            return true;
        }
        case Event::start_failed: {
            Document document;
            document.start = now;
            document.outcome = Outcome::not_started;
            document.address = texts_.add(known.rest);
            document.add(Trouble::unreachable);
            tell(document);
            return true;
        }
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
        case Event::sent_nothing:
            tell(now, Outcome::unknown, Trouble::printer_took_nothing);
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
        case Event::check_failed:
        case Event::check_not_ended:
            tell(now, Outcome::unknown, Trouble::check_failed, texts_.add(message));
            return true;
        case Event::helper_gone:
        case Event::helper_not_started:
        case Event::rewriting_step_failed:
        case Event::work_file_failed:
            step_ = texts_.add(message);
            return true;
        case Event::work_file_full:
            tell(now, Outcome::unknown, Trouble::work_file_full, step_);
            step_ = 0;
            return true;
        case Event::rewriting_failed:
            tell(now, Outcome::lost, Trouble::rewriting_failed, step_);
            step_ = 0;
            return true;
        case Event::printed_unchanged:
            tell(now, Outcome::unknown, Trouble::printed_unchanged, step_);
            step_ = 0;
            return true;
        default:
            return false;
    }
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
