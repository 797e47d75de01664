#include "tools/tsport/report/follow.h"

#include <algorithm>
#include <cstring>

#include "tools/tsport/report/follow_step.h"

namespace tsport::report {
namespace {

bool is_slot_line(const Message& message) {
    return message.event == Event::statistics && is_slot(message.rest);
}

// Messages that do not need the time of their line.
bool is_timeless(Event event) {
    return event == Event::write || event == Event::given || event == Event::given_rewritten ||
           event == Event::statistics || event == Event::told;
}

// What shows that a document is under way, although its start is not in the log.
bool shows_document(Event event) {
    switch (event) {
        case Event::write:
        case Event::given:
        case Event::given_rewritten:
        case Event::abandoned:
        case Event::data_abandoned:
        case Event::start_failed:
        case Event::lost:
        case Event::restart_asked:
        case Event::end:
        case Event::statistics:
        case Event::held:
            return true;
        default:
            return false;
    }
}

}  // namespace

Follower::Follower(Texts& texts, Listener listener)
    : texts_(texts), listener_(std::move(listener)), plain_(texts, listener_.document) {}

bool Follower::take(Line& line) {
    ++count_;
    Message message = recognise(line.message);
    if (line.detailed) {
        // Most lines of a large log add nothing, and need not even be brought to their document.
        const bool silent = message.event == Event::none || message.event == Event::told;
        if (silent && !line.error && !listener_.line) return true;
        const size_t begin = line.message.size() - message.rest.size();
        if (!take_thread(line.message, line.thread) || begin > line.message.size()) return false;
        message.rest = line.message.substr(begin);
        return take_detailed(line, message);
    }
    const auto now = parse_stamp(line.stamp);
    if (!now) return false;
    if (!plain_.take(*now, line.message, message) && line.error) listener_.other_error(line.message);
    return true;
}

bool Follower::take_detailed(const Line& line, const Message& message) {
    if (message.event == Event::none && line.error) listener_.other_error(line.message);
    if (!listener_.line && (message.event == Event::none || is_slot_line(message))) return true;
    Course& course = threads_.of(line.thread, count_, [this](Course& old) { close(old); });
    std::optional<Stamp> now;
    if (!is_timeless(message.event) || !course.open) {
        now = parse_stamp(line.stamp);
        if (!now) return false;
        course.last = *now;
        course.last_is_text = false;
    } else {
        std::memcpy(course.last_text.data(), line.stamp.data(), stamp_size);
        course.last_is_text = true;
    }
    const bool good = dispatch({course, line, message, now.value_or(course.last)});
    if (listener_.line && course.open) listener_.line(line, message, course.document);
    // Only now, so that the last line of a document still belongs to it.
    if (course.open && course.ended) close(course);
    return good;
}

bool Follower::dispatch(const Step& step) {
    Course& course = step.course;
    const Event event = step.message.event;
    if (course.second_start) settle_second_start(course, event);
    if (!course.open && shows_document(event)) {
        begin(course, step.now);
    } else if (!course.open && step.line.error && event != Event::none && event != Event::port_unknown) {
        listener_.other_error(step.line.message);
        return true;
    }
    if (event <= Event::told) return true;
    if (event <= Event::data_abandoned) return take_start(step);
    if (event <= Event::close_seen) return take_connection(step);
    if (event <= Event::restart_refused) return take_data(step);
    if (event <= Event::statistics) return take_end(step);
    return event <= Event::identity ? take_check(step) : take_rewriting(step);
}

// -- Courses ---------------------------------------------------------------------------------------------------------

void Follower::begin(Course& course, Stamp now) {
    const TextId port = course.port;
    Course fresh;
    fresh.thread = course.thread;
    fresh.seen = course.seen;
    fresh.port = port;
    fresh.open = true;
    fresh.last = now;
    fresh.document.start = now;
    fresh.document.thread = course.thread;
    fresh.document.port = port;
    fresh.document.detailed = true;
    course = fresh;
}

void Follower::begin(Course& course, const Course::Start& start) {
    begin(course, start.at);
    Document& document = course.document;
    document.started = true;
    document.has_job = true;
    document.printer = start.printer;
    document.job = start.job;
    document.attempt = attempts_.number_for(start.printer, start.job, start.at);
}

Outcome Follower::outcome_of(const Course& course) const {
    const Document& document = course.document;
    if (course.not_started) return Outcome::not_started;
    if (course.refused) return Outcome::refused;
    if (course.dropped) return Outcome::dropped;
    if (course.restart_asked) return Outcome::restarted;
    if (course.lost || course.failed_at_end) return Outcome::lost;
    if (!course.ended) return Outcome::unknown;
    return document.attempt > 1 || document.has(Trouble::held) ? Outcome::late : Outcome::printed;
}

void Follower::close(Course& course) {
    if (!course.open) return;
    course.open = false;
    if (course.last_is_text) {
        course.last = parse_stamp({course.last_text.data(), stamp_size}).value_or(course.last);
    }
    Document& document = course.document;
    if (course.held_since) document.held_ms += milliseconds(*course.held_since, course.last);
    // The helper also asks for patience without a reason.
    if (document.held_for != 0 || document.held_ms >= 1000) document.add(Trouble::held);
    document.connect_ms = document.start_ms - std::min(document.start_ms, course.held_at_start_ms);
    if (document.total_ms == 0) document.total_ms = milliseconds(document.start, course.last);
    document.outcome = outcome_of(course);
    attempts_.note(document);
    listener_.document(document);
    // Without another line of its thread, a second start is a document that has only just begun.
    if (const auto second = course.second_start) {
        begin(course, *second);
        close(course);
    }
}

// A monitor that starts ends whatever the one before it was doing.
void Follower::monitor_started() {
    threads_.for_all([this](Course& course) {
        if (course.open && !course.ended && !course.not_started) course.document.add(Trouble::monitor_restarted);
        close(course);
        course.port = 0;
    });
}

void Follower::finish() {
    threads_.for_all([this](Course& course) { close(course); });
    plain_.finish();
}

}  // namespace tsport::report
