// The effect of each line on its document.
#include <algorithm>
#include <limits>

#include "tools/tsport/report/follow_step.h"

namespace tsport::report {

std::string_view system_text_of(std::string_view message) {
    const size_t place = message.find(" - ");
    return place == std::string_view::npos ? std::string_view() : message.substr(place + 3);
}

std::int64_t error_code_of(std::string_view message) {
    const size_t place = message.rfind("(Error: ");
    if (place == std::string_view::npos) return -1;
    std::string_view number = message.substr(place + 8);
    return take_number(number).value_or(-1);
}

std::uint32_t milliseconds(Stamp from, Stamp to) {
    return static_cast<std::uint32_t>(std::clamp<Stamp>(to - from, 0, std::numeric_limits<std::uint32_t>::max()));
}

bool is_slot(std::string_view rest) {
    if (!rest.ends_with(" bytes")) return false;
    const size_t number = rest.find_last_not_of("0123456789", rest.size() - 7);
    return number != std::string_view::npos && number > 3 && rest.compare(number - 3, 4, " ms ") == 0;
}

namespace {

// A count that the log shows as a signed number of 32 bits.
std::uint32_t unsigned_of(std::int64_t number) {
    return static_cast<std::uint32_t>(number);
}

// Takes off what stands up to a text, and the text; nothing when it is not there.
std::optional<std::string_view> take_until(std::string_view& text, std::string_view end) {
    const size_t place = text.find(end);
    if (place == std::string_view::npos) return {};
    const std::string_view before = text.substr(0, place);
    text.remove_prefix(place + end.size());
    return before;
}

// '"NAME", JobId: 7, Version: ...'. The name may hold anything, what follows it not.
std::optional<Course::Start> parse_start(std::string_view rest, Stamp at, Texts& texts) {
    constexpr std::string_view behind = "\", JobId: ";
    const size_t end = rest.rfind(behind);
    if (!rest.starts_with('"') || end == std::string_view::npos || end == 0) return {};
    std::string_view number = rest.substr(end + behind.size());
    const auto job = take_number(number);
    if (!job) return {};
    return Course::Start{texts.add(rest.substr(1, end - 1)), unsigned_of(*job), at};
}

}  // namespace

// -- The start of a document -----------------------------------------------------------------------------------------

bool Follower::take_start(const Step& step) {
    Course& course = step.course;
    Document& document = step.document();
    switch (step.message.event) {
        case Event::start:
            return start(step);
        case Event::monitor_started:
            monitor_started();
            return true;
        case Event::port_opened:
            course.port = texts_.add(step.rest());
            return true;
        case Event::port_closed:
            // A document that is under way goes on: its thread may have opened the port once more.
            if (course.not_started) close(course);
            if (!course.open) course.port = 0;
            return true;
        case Event::port_unknown:
            port_unknown(step);
            return true;
        case Event::started_twice:
            document.add(Trouble::started_twice);
            return true;
        case Event::name_unusable:
            not_started(step, Trouble::printer_name_unusable);
            return true;
        case Event::printer_not_opened:
            not_started(step, Trouble::printer_not_in_spooler);
            return true;
        case Event::not_approved:
            course.refused = true;
            document.add(Trouble::not_approved);
            return true;
        case Event::abandoned:
            abandoned(step);
            return true;
        case Event::data_abandoned:
            abandoned(step);
            document.taken += course.last_size;
            return true;
        default:
            return true;
    }
}

bool Follower::start(const Step& step) {
    Course& course = step.course;
    const auto parsed = parse_start(step.rest(), step.now, texts_);
    if (!parsed) return false;
    if (course.open && !course.not_started && !course.ended) {
        course.second_start = parsed;
        return true;
    }
    close(course);
    begin(course, *parsed);
    return true;
}

// A start of which the monitor says that the document before it has not ended changes nothing; after any other line the
// document before it has no end.
void Follower::settle_second_start(Course& course, Event event) {
    const Course::Start begun = *course.second_start;
    course.second_start.reset();
    if (event == Event::started_twice) return;
    close(course);
    begin(course, begun);
}

void Follower::not_started(const Step& step, Trouble trouble) {
    step.course.not_started = true;
    step.document().start_ms = milliseconds(step.document().start, step.now);
    step.document().add(trouble, texts_.add(system_text_of(step.rest())));
}

// "7 has an associated notapproved file" or "7 has been marked for deletion".
void Follower::abandoned(const Step& step) {
    Document& document = step.document();
    std::string_view rest = step.rest();
    if (const auto job = take_number(rest); job && !document.has_job) {
        document.job = unsigned_of(*job);
        document.has_job = true;
    }
    if (rest.find("notapproved") != std::string_view::npos) {
        step.course.refused = true;
        document.add(Trouble::not_approved);
    } else {
        step.course.dropped = true;
        document.add(Trouble::dropped_by_helper);
    }
}

void Follower::port_unknown(const Step& step) {
    Document document;
    document.start = step.now;
    document.thread = step.line.thread;
    document.port = texts_.add(step.rest());
    document.outcome = Outcome::not_started;
    document.detailed = true;
    document.add(Trouble::port_unknown);
    step.course.port = 0;
    listener_.document(document);
}

// -- Its connection --------------------------------------------------------------------------------------------------

bool Follower::take_connection(const Step& step) {
    Course& course = step.course;
    Document& document = step.document();
    switch (step.message.event) {
        case Event::looking_up:
            course.connecting.reset();
            if (document.address == 0) document.address = texts_.add(step.rest());
            return true;
        case Event::lookup_failed:
            connecting(step, Trouble::address_unknown);
            return true;
        case Event::no_socket:
            connecting(step, Trouble::unreachable);
            return true;
        case Event::connect_failed: {
            const std::int64_t code = error_code_of(step.rest());
            connecting(step, code == 10061   ? Trouble::connection_refused
                             : code == 10060 ? Trouble::connection_timed_out
                                             : Trouble::unreachable);
            return true;
        }
        case Event::start_failed:
            start_failed(step);
            return true;
        case Event::close_awaited:
            course.close_awaited = step.now;
            return true;
        case Event::close_not_seen:
            // One that is given up after a loss may wait as long, and that is no news.
            if (!document.lost_connection()) document.add(Trouble::close_not_seen);
            return true;
        case Event::close_broken:
            if (!document.lost_connection()) {
                document.add(Trouble::broken_at_end, texts_.add("error " + std::string(step.rest())));
            }
            return true;
        case Event::close_seen:
            close_ended(step);
            return true;
        default:
            return true;
    }
}

// Another address of the printer may still take the connection.
void Follower::connecting(const Step& step, Trouble trouble) {
    Course& course = step.course;
    if (course.connecting && *course.connecting <= trouble) return;
    course.connecting = trouble;
    course.connecting_detail = texts_.add(system_text_of(step.rest()));
}

void Follower::start_failed(const Step& step) {
    Course& course = step.course;
    Document& document = step.document();
    course.not_started = true;
    document.start_ms = milliseconds(document.start, step.now);
    if (document.address == 0) document.address = texts_.add(step.rest());
    document.add(course.connecting.value_or(Trouble::unreachable), course.connecting ? course.connecting_detail : 0);
}

void Follower::close_ended(const Step& step) {
    Course& course = step.course;
    if (course.close_awaited) step.document().close_ms += milliseconds(*course.close_awaited, step.now);
    course.close_awaited.reset();
}

// -- Its data --------------------------------------------------------------------------------------------------------

bool Follower::take_data(const Step& step) {
    Course& course = step.course;
    Document& document = step.document();
    switch (step.message.event) {
        case Event::write: {
            std::string_view rest = step.rest();
            const auto size = take_number(rest);
            course.last_size = unsigned_of(size.value_or(0));
            ++document.writes;
            return size.has_value();
        }
        case Event::given:
        case Event::given_rewritten:
            return given(step);
        case Event::send_failed:
            send_failed(step);
            return true;
        case Event::send_timed_out:
            document.add(Trouble::printer_stalled);
            return true;
        case Event::send_error:
            document.add(Trouble::connection_lost);
            return true;
        case Event::sent_nothing:
            document.add(Trouble::printer_took_nothing);
            return true;
        case Event::lost:
            lost(step);
            return true;
        case Event::restart_asked:
            course.restart_asked = true;
            return true;
        case Event::restart_refused:
            course.restart_asked = false;
            document.add(Trouble::restart_refused, texts_.add(system_text_of(step.rest())));
            return true;
        default:
            return true;
    }
}

// "65536 bytes and sent 65536 bytes", and " to force attr file: ..." behind it.
bool Follower::given(const Step& step) {
    Document& document = step.document();
    std::string_view rest = step.rest();
    if (!take_number(rest) || !rest.starts_with(" bytes and sent ")) return false;
    rest.remove_prefix(16);
    const auto count = take_number(rest);
    if (!count || *count < 0) return false;
    const auto bytes = static_cast<std::uint64_t>(*count);
    const bool to_file = rest.starts_with(" bytes to ");
    if (step.message.event == Event::given) document.taken += bytes;
    if (!to_file) document.sent += bytes;
    return true;
}

void Follower::send_failed(const Step& step) {
    const bool reset = error_code_of(step.rest()) == 10054;
    step.document().add(reset ? Trouble::connection_reset : Trouble::connection_lost,
                        texts_.add(system_text_of(step.rest())));
}

void Follower::lost(const Step& step) {
    Document& document = step.document();
    step.course.lost = true;
    if (!document.lost_connection()) document.add(Trouble::connection_lost);
}

// -- Its end ---------------------------------------------------------------------------------------------------------

bool Follower::take_end(const Step& step) {
    Course& course = step.course;
    Document& document = step.document();
    switch (step.message.event) {
        case Event::end:
            course.end_begun = step.now;
            return true;
        case Event::no_document:
            // Of a start that failed, or of none.
            if (!course.not_started && document.writes == 0) course.open = false;
            return true;
        case Event::ended:
            return ended(step);
        case Event::statistics:
            return statistics(step);
        default:
            return true;
    }
}

bool Follower::ended(const Step& step) {
    Course& course = step.course;
    Document& document = step.document();
    std::string_view rest = step.rest();
    const auto result = take_number(rest);
    if (!result) return false;
    course.ended = true;
    if (*result == 0) course.failed_at_end = true;
    if (document.end_ms == 0 && course.end_begun) document.end_ms = milliseconds(*course.end_begun, step.now);
    if (document.total_ms == 0) document.total_ms = milliseconds(document.start, step.now);
    return true;
}

// "NAME, jobid: 7, ", then "Start 3 ms", "Writes 2, total duration 5 ms, total size 8192 bytes", "End 1 ms" or
// "Total 9 ms".
bool Follower::statistics(const Step& step) {
    Document& document = step.document();
    std::string_view rest = step.rest();
    constexpr std::string_view behind = ", jobid: ";
    const size_t end = rest.rfind(behind);
    if (end == std::string_view::npos) return false;
    const std::string_view name = rest.substr(0, end);
    rest.remove_prefix(end + behind.size());
    const auto job = take_number(rest);
    if (!job || !rest.starts_with(", ")) return false;
    rest.remove_prefix(2);
    if (!document.has_job) {
        document.has_job = true;
        document.job = unsigned_of(*job);
        document.printer = texts_.add(name);
    }
    const auto what = take_until(rest, " ");
    const auto number = take_number(rest);
    if (!what || !number) return is_slot(step.rest());
    const std::uint32_t figure = unsigned_of(*number);
    if (*what == "Start") {
        document.start_ms = figure;
    } else if (*what == "End") {
        document.end_ms = figure;
    } else if (*what == "Total") {
        document.total_ms = figure;
        if (!document.started) document.start = parse_stamp(step.line.stamp).value_or(step.now) - figure;
    } else if (*what == "Writes") {
        const auto duration = take_until(rest, "duration ") ? take_number(rest) : std::nullopt;
        const auto size = take_until(rest, "size ") ? take_number(rest) : std::nullopt;
        if (!duration || !size) return false;
        document.write_ms = unsigned_of(*duration);
        // The log's count ends at 4 GiB: what has been seen is better, when all of it has.
        if (!document.started || document.writes != figure) {
            document.writes = figure;
            document.taken = unsigned_of(*size);
            if (!document.rewritten) document.sent = document.taken;
        }
    }
    return true;
}

// -- The helper ------------------------------------------------------------------------------------------------------

bool Follower::take_check(const Step& step) {
    Course& course = step.course;
    Document& document = step.document();
    switch (step.message.event) {
        case Event::held:
            if (!course.held_since) course.held_since = step.now;
            return true;
        case Event::held_for:
            held_for(step);
            return true;
        case Event::answered:
        case Event::dropped:
            hold_ended(step);
            return true;
        case Event::deleted_while_held:
            hold_ended(step);
            document.add(Trouble::job_deleted_while_held);
            return true;
        case Event::check_failed:
        case Event::check_not_ended:
            helper_failed(step, Trouble::check_failed);
            return true;
        case Event::check_again:
            document.remove(Trouble::check_failed);
            return true;
        case Event::helper_gone:
            hold_ended(step);
            course.step_detail = texts_.add(system_text_of(step.rest()));
            return true;
        case Event::helper_not_found:
        case Event::helper_not_started:
            course.step_detail = texts_.add(step.line.message);
            return true;
        case Event::no_check:
            document.add(Trouble::helper_missing_for_check);
            return true;
        case Event::identity:
            document.add(Trouble::identity, texts_.add(step.line.message));
            return true;
        default:
            return true;
    }
}

bool Follower::take_rewriting(const Step& step) {
    Course& course = step.course;
    Document& document = step.document();
    switch (step.message.event) {
        case Event::work_file_failed:
            course.step_detail = texts_.add(step.line.message);
            return true;
        case Event::rewriting_step_failed:
            if (course.step_detail == 0) course.step_detail = texts_.add(step.line.message);
            return true;
        case Event::rewriting:
            document.rewritten = true;
            return true;
        case Event::no_rewriting:
            document.add(Trouble::helper_missing_for_rewriting);
            return true;
        case Event::rewriting_failed:
            course.failed_at_end = true;
            helper_failed(step, Trouble::rewriting_failed);
            return true;
        case Event::work_file_full:
            helper_failed(step, Trouble::work_file_full);
            return true;
        case Event::printed_unchanged:
            helper_failed(step, Trouble::printed_unchanged);
            return true;
        default:
            return true;
    }
}

// '"Door Open"'
void Follower::held_for(const Step& step) {
    std::string_view text = step.rest();
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') text = text.substr(1, text.size() - 2);
    Document& document = step.document();
    const TextId id = texts_.add(text);
    if (id == 0 || id == document.held_for) return;
    const std::string before = texts_[document.held_for];
    const bool known = (", " + before + ", ").find(", " + texts_[id] + ", ") != std::string::npos;
    if (!known) document.held_for = before.empty() ? id : texts_.add(before + ", " + texts_[id]);
}

void Follower::hold_ended(const Step& step) {
    Course& course = step.course;
    if (!course.held_since) return;
    const std::uint32_t held = milliseconds(*course.held_since, step.now);
    course.document.held_ms += held;
    if (!course.end_begun) course.held_at_start_ms += held;
    course.held_since.reset();
}

void Follower::helper_failed(const Step& step, Trouble trouble) {
    const TextId reason = step.course.step_detail;
    step.document().add(trouble, reason != 0 ? reason : texts_.add(step.line.message));
    step.course.step_detail = 0;
}

}  // namespace tsport::report
