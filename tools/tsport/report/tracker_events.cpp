// The effect of each line on its document.
#include "tools/tsport/report/tracker.h"

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
std::optional<ThreadState::Start> parse_start(std::string_view rest, Timestamp time, Texts& texts) {
    constexpr std::string_view behind = "\", JobId: ";
    const size_t end = rest.rfind(behind);
    if (!rest.starts_with('"') || end == std::string_view::npos || end == 0) return {};
    std::string_view number = rest.substr(end + behind.size());
    const auto job = take_number(number);
    if (!job) return {};
    return ThreadState::Start{texts.add(rest.substr(1, end - 1)), unsigned_of(*job), time};
}

}  // namespace

// -- The start of a document -----------------------------------------------------------------------------------------

bool DocumentTracker::process_start(const Entry& entry) {
    ThreadState& state = entry.state;
    Document& document = entry.document();
    switch (entry.message.event) {
        case Event::start:
            return start(entry);
        case Event::monitor_started:
            monitor_started();
            return true;
        case Event::port_opened:
            state.port = texts_.add(entry.rest());
            return true;
        case Event::port_closed:
            // A document that is under way goes on: its thread may have opened the port once more.
            if (state.not_started) close(state);
            if (!state.open) state.port = 0;
            return true;
        case Event::port_unknown:
            port_unknown(entry);
            return true;
        case Event::started_twice:
            document.add(Cause::started_twice);
            return true;
        case Event::name_unusable:
            not_started(entry, Cause::printer_name_unusable);
            return true;
        case Event::printer_not_opened:
            not_started(entry, Cause::printer_not_in_spooler);
            return true;
        case Event::not_approved:
            state.refused = true;
            document.add(Cause::not_approved);
            return true;
        case Event::abandoned:
            abandoned(entry);
            return true;
        case Event::data_abandoned:
            abandoned(entry);
            document.taken += state.last_size;
            return true;
        default:
            return true;
    }
}

bool DocumentTracker::start(const Entry& entry) {
    ThreadState& state = entry.state;
    const auto parsed = parse_start(entry.rest(), entry.time(), texts_);
    if (!parsed) return false;
    if (state.open && !state.not_started && !state.ended) {
        state.second_start = parsed;
        return true;
    }
    close(state);
    begin(state, *parsed);
    return true;
}

// A start of which the monitor says that the document before it has not ended changes nothing; after any other line the
// document before it has no end.
void DocumentTracker::settle_second_start(ThreadState& state, Event event) {
    const ThreadState::Start begun = *state.second_start;
    state.second_start.reset();
    if (event == Event::started_twice) return;
    close(state);
    begin(state, begun);
}

void DocumentTracker::not_started(const Entry& entry, Cause cause) {
    entry.state.not_started = true;
    entry.document().start_ms = elapsed_ms(entry.document().start, entry.time());
    entry.document().add(cause, texts_.add(system_text_of(entry.rest())));
}

// "7 has an associated notapproved file" or "7 has been marked for deletion".
void DocumentTracker::abandoned(const Entry& entry) {
    Document& document = entry.document();
    std::string_view rest = entry.rest();
    if (const auto job = take_number(rest); job && !document.has_job) {
        document.job = unsigned_of(*job);
        document.has_job = true;
    }
    if (rest.find("notapproved") != std::string_view::npos) {
        entry.state.refused = true;
        document.add(Cause::not_approved);
    } else {
        entry.state.dropped = true;
        document.add(Cause::dropped_by_helper);
    }
}

void DocumentTracker::port_unknown(const Entry& entry) {
    Document document;
    document.start = entry.time();
    document.thread = entry.line.thread;
    document.port = texts_.add(entry.rest());
    document.outcome = Outcome::not_started;
    document.detailed = true;
    document.add(Cause::port_unknown);
    entry.state.port = 0;
    listener_.document(document);
}

// -- Its connection --------------------------------------------------------------------------------------------------

bool DocumentTracker::process_connection(const Entry& entry) {
    ThreadState& state = entry.state;
    Document& document = entry.document();
    switch (entry.message.event) {
        case Event::looking_up:
            state.connect_failure.reset();
            state.connect_failure_text = 0;
            if (document.address == 0) document.address = texts_.add(entry.rest());
            return true;
        case Event::lookup_failed:
            connect_failed(entry, Cause::address_unknown);
            return true;
        case Event::no_socket:
            connect_failed(entry, Cause::unreachable);
            return true;
        case Event::connect_failed: {
            const std::int64_t code = error_code_of(entry.rest());
            connect_failed(entry, code == 10061   ? Cause::connection_refused
                             : code == 10060 ? Cause::connection_timed_out
                                             : Cause::unreachable);
            return true;
        }
        case Event::start_failed:
            start_failed(entry);
            return true;
        case Event::close_awaited:
            state.close_awaited = entry.time();
            return true;
        case Event::close_not_seen:
            // One that is given up after a loss may wait as long, and that is no news.
            if (!document.lost_connection()) document.add(Cause::close_not_seen);
            return true;
        case Event::close_broken:
            if (!document.lost_connection()) {
                document.add(Cause::broken_at_end, texts_.add("error " + std::string(entry.rest())));
            }
            return true;
        case Event::close_seen:
            close_ended(entry);
            return true;
        default:
            return true;
    }
}

// Another address of the printer may still take the connection.
void DocumentTracker::connect_failed(const Entry& entry, Cause cause) {
    ThreadState& state = entry.state;
    if (state.connect_failure && *state.connect_failure <= cause) return;
    state.connect_failure = cause;
    state.connect_failure_text = texts_.add(system_text_of(entry.rest()));
}

void DocumentTracker::start_failed(const Entry& entry) {
    ThreadState& state = entry.state;
    Document& document = entry.document();
    state.not_started = true;
    document.start_ms = elapsed_ms(document.start, entry.time());
    if (document.address == 0) document.address = texts_.add(entry.rest());
    document.add(state.connect_failure.value_or(Cause::unreachable), state.connect_failure_text);
}

void DocumentTracker::close_ended(const Entry& entry) {
    ThreadState& state = entry.state;
    if (state.close_awaited) entry.document().close_ms += elapsed_ms(*state.close_awaited, entry.time());
    state.close_awaited.reset();
}

// -- Its data --------------------------------------------------------------------------------------------------------

bool DocumentTracker::process_data(const Entry& entry) {
    ThreadState& state = entry.state;
    Document& document = entry.document();
    switch (entry.message.event) {
        case Event::write: {
            std::string_view rest = entry.rest();
            const auto size = take_number(rest);
            state.last_size = unsigned_of(size.value_or(0));
            ++document.writes;
            return size.has_value();
        }
        case Event::given:
        case Event::given_rewritten:
            return data_sent(entry);
        case Event::send_failed:
            send_failed(entry);
            return true;
        case Event::send_timed_out:
            document.add(Cause::printer_stalled);
            return true;
        case Event::send_error:
            document.add(Cause::connection_lost);
            return true;
        case Event::sent_nothing:
            document.add(Cause::printer_took_nothing);
            return true;
        case Event::lost:
            connection_lost(entry);
            return true;
        case Event::restart_requested:
            state.restart_requested = true;
            return true;
        case Event::restart_refused:
            state.restart_requested = false;
            document.add(Cause::restart_refused, texts_.add(system_text_of(entry.rest())));
            return true;
        default:
            return true;
    }
}

// "65536 bytes and sent 65536 bytes", and " to force attr file: ..." behind it.
bool DocumentTracker::data_sent(const Entry& entry) {
    Document& document = entry.document();
    std::string_view rest = entry.rest();
    if (!take_number(rest) || !rest.starts_with(" bytes and sent ")) return false;
    rest.remove_prefix(16);
    const auto count = take_number(rest);
    if (!count || *count < 0) return false;
    const auto bytes = static_cast<std::uint64_t>(*count);
    const bool to_file = rest.starts_with(" bytes to ");
    if (entry.message.event == Event::given) document.taken += bytes;
    if (!to_file) document.sent += bytes;
    return true;
}

void DocumentTracker::send_failed(const Entry& entry) {
    const bool reset = error_code_of(entry.rest()) == 10054;
    entry.document().add(reset ? Cause::connection_reset : Cause::connection_lost,
                        texts_.add(system_text_of(entry.rest())));
}

void DocumentTracker::connection_lost(const Entry& entry) {
    Document& document = entry.document();
    entry.state.lost = true;
    if (!document.lost_connection()) document.add(Cause::connection_lost);
}

// -- Its end ---------------------------------------------------------------------------------------------------------

bool DocumentTracker::process_end(const Entry& entry) {
    ThreadState& state = entry.state;
    Document& document = entry.document();
    switch (entry.message.event) {
        case Event::end:
            state.end_begun = entry.time();
            return true;
        case Event::no_document:
            // Of a start that failed, or of none.
            if (!state.not_started && document.writes == 0) state.open = false;
            return true;
        case Event::ended:
            return ended(entry);
        case Event::statistics:
            return statistics(entry);
        default:
            return true;
    }
}

bool DocumentTracker::ended(const Entry& entry) {
    ThreadState& state = entry.state;
    Document& document = entry.document();
    std::string_view rest = entry.rest();
    const auto result = take_number(rest);
    if (!result) return false;
    state.ended = true;
    if (*result == 0) state.failed_at_end = true;
    if (document.end_ms == 0 && state.end_begun) document.end_ms = elapsed_ms(*state.end_begun, entry.time());
    if (document.total_ms == 0) document.total_ms = elapsed_ms(document.start, entry.time());
    return true;
}

// "NAME, jobid: 7, ", then "Start 3 ms", "Writes 2, total duration 5 ms, total size 8192 bytes", "End 1 ms" or
// "Total 9 ms".
bool DocumentTracker::statistics(const Entry& entry) {
    Document& document = entry.document();
    std::string_view rest = entry.rest();
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
    // "write[3/9] = 0 ms 4096 bytes": one of up to twenty lines that add nothing.
    if (rest.starts_with("write[")) return true;
    const auto what = take_until(rest, " ");
    const auto number = take_number(rest);
    if (!what || !number) return false;
    const std::uint32_t figure = unsigned_of(*number);
    if (*what == "Start") {
        document.start_ms = figure;
    } else if (*what == "End") {
        document.end_ms = figure;
    } else if (*what == "Total") {
        document.total_ms = figure;
        if (!document.started) document.start = entry.time() - std::chrono::milliseconds(figure);
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

bool DocumentTracker::process_check(const Entry& entry) {
    ThreadState& state = entry.state;
    Document& document = entry.document();
    switch (entry.message.event) {
        case Event::held:
            if (!state.held_since) state.held_since = entry.time();
            return true;
        case Event::held_for:
            held_for(entry);
            return true;
        case Event::answered:
        case Event::dropped:
            hold_ended(entry);
            return true;
        case Event::deleted_while_held:
            hold_ended(entry);
            document.add(Cause::job_deleted_while_held);
            return true;
        case Event::check_failed:
        case Event::check_not_ended:
            helper_failed(entry, Cause::check_failed);
            return true;
        case Event::check_again:
            document.remove(Cause::check_failed);
            return true;
        case Event::helper_gone:
            hold_ended(entry);
            state.helper_failure_text = texts_.add(system_text_of(entry.rest()));
            return true;
        case Event::helper_not_found:
        case Event::helper_not_started:
            state.helper_failure_text = texts_.add(entry.line.message);
            return true;
        case Event::no_check:
            document.add(Cause::helper_missing_for_check);
            return true;
        case Event::identity:
            document.add(Cause::identity, texts_.add(entry.line.message));
            return true;
        default:
            return true;
    }
}

bool DocumentTracker::process_rewriting(const Entry& entry) {
    ThreadState& state = entry.state;
    Document& document = entry.document();
    switch (entry.message.event) {
        case Event::work_file_failed:
            state.helper_failure_text = texts_.add(entry.line.message);
            return true;
        case Event::rewriting_step_failed:
            if (state.helper_failure_text == 0) state.helper_failure_text = texts_.add(entry.line.message);
            return true;
        case Event::rewriting:
            document.rewritten = true;
            return true;
        case Event::no_rewriting:
            document.add(Cause::helper_missing_for_rewriting);
            return true;
        case Event::rewriting_failed:
            state.failed_at_end = true;
            helper_failed(entry, Cause::rewriting_failed);
            return true;
        case Event::work_file_full:
            helper_failed(entry, Cause::work_file_full);
            return true;
        case Event::printed_unchanged:
            helper_failed(entry, Cause::printed_unchanged);
            return true;
        default:
            return true;
    }
}

// '"Door Open"'
void DocumentTracker::held_for(const Entry& entry) {
    std::string_view text = entry.rest();
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') text = text.substr(1, text.size() - 2);
    Document& document = entry.document();
    const TextId id = texts_.add(text);
    if (id == 0 || id == document.held_for) return;
    const std::string before = texts_[document.held_for];
    const bool known = (", " + before + ", ").find(", " + texts_[id] + ", ") != std::string::npos;
    if (!known) document.held_for = before.empty() ? id : texts_.add(before + ", " + texts_[id]);
}

void DocumentTracker::hold_ended(const Entry& entry) {
    ThreadState& state = entry.state;
    if (!state.held_since) return;
    const std::uint32_t held = elapsed_ms(*state.held_since, entry.time());
    state.document.held_ms += held;
    if (!state.end_begun) state.held_at_start_ms += held;
    state.held_since.reset();
}

void DocumentTracker::helper_failed(const Entry& entry, Cause cause) {
    const TextId reason = entry.state.helper_failure_text;
    entry.document().add(cause, reason != 0 ? reason : texts_.add(entry.line.message));
    entry.state.helper_failure_text = 0;
}

}  // namespace tsport::report
