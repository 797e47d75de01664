// The effect of each line on its document.
#include "tsport/report/tracker.h"

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

// -- What each event does --------------------------------------------------------------------------------------------

const DocumentTracker::Handlers DocumentTracker::handlers_ = [] {
    using Self = DocumentTracker;
    constexpr std::pair<Event, Handler> rows[] = {
        // Starts and ports.
        {Event::start, [](Self& self, const Entry& entry) { entry.readable = self.start(entry); }},
        {Event::monitor_started, [](Self& self, const Entry&) { self.monitor_started(); }},
        {Event::port_opened, [](Self& self, const Entry& entry) { entry.state.port = self.texts_.add(entry.rest()); }},
        {Event::port_closed, [](Self& self, const Entry& entry) { self.port_closed(entry); }},
        {Event::port_unknown, [](Self& self, const Entry& entry) { self.port_unknown(entry); }},
        {Event::started_twice, [](Self&, const Entry& entry) { entry.document().add(Cause::started_twice); }},
        {Event::name_unusable, [](Self& self, const Entry& entry) { self.not_started(entry, Cause::printer_name_unusable); }},
        {Event::printer_not_opened,
         [](Self& self, const Entry& entry) { self.not_started(entry, Cause::printer_not_in_spooler); }},
        {Event::not_approved, [](Self& self, const Entry& entry) { self.refused(entry); }},
        {Event::abandoned, [](Self& self, const Entry& entry) { self.abandoned(entry); }},
        {Event::data_abandoned, [](Self& self, const Entry& entry) { self.data_abandoned(entry); }},

        // The connection.
        {Event::looking_up, [](Self& self, const Entry& entry) { self.looking_up(entry); }},
        {Event::lookup_failed, [](Self& self, const Entry& entry) { self.address_failed(entry, Cause::address_unknown); }},
        {Event::no_socket, [](Self& self, const Entry& entry) { self.address_failed(entry, Cause::unreachable); }},
        {Event::connect_failed, [](Self& self, const Entry& entry) { self.connect_failed(entry); }},
        {Event::start_failed, [](Self& self, const Entry& entry) { self.start_failed(entry); }},
        {Event::close_awaited, [](Self&, const Entry& entry) { entry.state.close_awaited = entry.time(); }},
        {Event::close_not_seen, [](Self& self, const Entry& entry) { self.bad_close(entry, Cause::close_not_seen); }},
        {Event::close_broken, [](Self& self, const Entry& entry) { self.bad_close(entry, Cause::broken_at_end); }},
        {Event::close_seen, [](Self& self, const Entry& entry) { self.close_ended(entry); }},

        // Data.
        {Event::write, [](Self& self, const Entry& entry) { entry.readable = self.data_taken(entry); }},
        {Event::given, [](Self& self, const Entry& entry) { entry.readable = self.data_sent(entry); }},
        {Event::given_rewritten, [](Self& self, const Entry& entry) { entry.readable = self.data_sent(entry); }},
        {Event::send_failed, [](Self& self, const Entry& entry) { self.send_failed(entry); }},
        {Event::send_timed_out, [](Self&, const Entry& entry) { entry.document().add(Cause::printer_stalled); }},
        {Event::send_error, [](Self&, const Entry& entry) { entry.document().add(Cause::connection_lost); }},
        {Event::sent_nothing, [](Self&, const Entry& entry) { entry.document().add(Cause::printer_took_nothing); }},
        {Event::lost, [](Self& self, const Entry& entry) { self.connection_lost(entry); }},
        {Event::restart_requested, [](Self&, const Entry& entry) { entry.state.restart_requested = true; }},
        {Event::restart_refused, [](Self& self, const Entry& entry) { self.restart_refused(entry); }},

        // The end.
        {Event::end, [](Self&, const Entry& entry) { entry.state.end_begun = entry.time(); }},
        {Event::no_document, [](Self& self, const Entry& entry) { self.no_document(entry); }},
        {Event::ended, [](Self& self, const Entry& entry) { entry.readable = self.ended(entry); }},
        {Event::statistics, [](Self& self, const Entry& entry) { entry.readable = self.statistics(entry); }},

        // The hardware check, and the helper program.
        {Event::held, [](Self& self, const Entry& entry) { self.held(entry); }},
        {Event::held_for, [](Self& self, const Entry& entry) { self.held_for(entry); }},
        {Event::answered, [](Self& self, const Entry& entry) { self.hold_ended(entry); }},
        {Event::dropped, [](Self& self, const Entry& entry) { self.hold_ended(entry); }},
        {Event::deleted_while_held, [](Self& self, const Entry& entry) { self.deleted_while_held(entry); }},
        {Event::check_failed, [](Self& self, const Entry& entry) { self.helper_failed(entry, Cause::check_failed); }},
        {Event::check_not_ended, [](Self& self, const Entry& entry) { self.helper_failed(entry, Cause::check_failed); }},
        {Event::check_again, [](Self&, const Entry& entry) { entry.document().remove(Cause::check_failed); }},
        {Event::helper_gone, [](Self& self, const Entry& entry) { self.helper_gone(entry); }},
        {Event::helper_not_found, [](Self& self, const Entry& entry) { self.step_failed(entry); }},
        {Event::helper_not_started, [](Self& self, const Entry& entry) { self.step_failed(entry); }},
        {Event::no_check, [](Self&, const Entry& entry) { entry.document().add(Cause::helper_missing_for_check); }},
        {Event::identity, [](Self& self, const Entry& entry) {
             entry.document().add(Cause::identity, self.texts_.add(entry.line.message));
         }},

        // Forced attributes.
        {Event::work_file_failed, [](Self& self, const Entry& entry) { self.step_failed(entry); }},
        {Event::work_file_full, [](Self& self, const Entry& entry) { self.helper_failed(entry, Cause::work_file_full); }},
        {Event::rewriting, [](Self&, const Entry& entry) { entry.document().rewritten = true; }},
        {Event::rewriting_step_failed, [](Self& self, const Entry& entry) {
             if (entry.state.helper_failure_text == 0) self.step_failed(entry);
         }},
        {Event::no_rewriting, [](Self&, const Entry& entry) { entry.document().add(Cause::helper_missing_for_rewriting); }},
        {Event::rewriting_failed, [](Self& self, const Entry& entry) { self.rewriting_failed(entry); }},
        {Event::printed_unchanged,
         [](Self& self, const Entry& entry) { self.helper_failed(entry, Cause::printed_unchanged); }},
    };
    Handlers handlers{};
    for (const auto& [event, handler] : rows) handlers[static_cast<size_t>(event)] = handler;
    return handlers;
}();

// -- The start of a document -----------------------------------------------------------------------------------------

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

// A document that is under way goes on: its thread may have opened the port once more.
void DocumentTracker::port_closed(const Entry& entry) {
    if (entry.state.not_started) close(entry.state);
    if (!entry.state.open) entry.state.port = 0;
}

void DocumentTracker::not_started(const Entry& entry, Cause cause) {
    entry.state.not_started = true;
    entry.document().start_ms = elapsed_ms(entry.document().start, entry.time());
    entry.document().add(cause, texts_.add(system_text_of(entry.rest())));
}

void DocumentTracker::refused(const Entry& entry) {
    entry.state.refused = true;
    entry.document().add(Cause::not_approved);
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
        refused(entry);
    } else {
        entry.state.dropped = true;
        document.add(Cause::dropped_by_helper);
    }
}

void DocumentTracker::data_abandoned(const Entry& entry) {
    abandoned(entry);
    entry.document().taken += entry.state.last_size;
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

void DocumentTracker::looking_up(const Entry& entry) {
    entry.state.connect_failure.reset();
    entry.state.connect_failure_text = 0;
    if (entry.document().address == 0) entry.document().address = texts_.add(entry.rest());
}

void DocumentTracker::connect_failed(const Entry& entry) {
    const std::int64_t code = error_code_of(entry.rest());
    address_failed(entry, code == 10061   ? Cause::connection_refused
                          : code == 10060 ? Cause::connection_timed_out
                                          : Cause::unreachable);
}

// Another address of the printer may still take the connection.
void DocumentTracker::address_failed(const Entry& entry, Cause cause) {
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

// The close of a connection that was lost before may go the same way, and that is no news.
void DocumentTracker::bad_close(const Entry& entry, Cause cause) {
    if (entry.document().lost_connection()) return;
    entry.document().add(cause, cause == Cause::close_not_seen ? 0 : texts_.add("error " + std::string(entry.rest())));
}

// -- Its data --------------------------------------------------------------------------------------------------------

bool DocumentTracker::data_taken(const Entry& entry) {
    std::string_view rest = entry.rest();
    const auto size = take_number(rest);
    entry.state.last_size = unsigned_of(size.value_or(0));
    ++entry.document().writes;
    return size.has_value();
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

void DocumentTracker::restart_refused(const Entry& entry) {
    entry.state.restart_requested = false;
    entry.document().add(Cause::restart_refused, texts_.add(system_text_of(entry.rest())));
}

// -- Its end ---------------------------------------------------------------------------------------------------------

// Of a start that failed, or of none.
void DocumentTracker::no_document(const Entry& entry) {
    if (!entry.state.not_started && entry.document().writes == 0) entry.state.open = false;
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
}  // "NAME, jobid: 7, ", then "Start 3 ms", "Writes 2, total duration 5 ms, total size 8192 bytes", "End 1 ms" or
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

void DocumentTracker::held(const Entry& entry) {
    if (!entry.state.held_since) entry.state.held_since = entry.time();
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

void DocumentTracker::deleted_while_held(const Entry& entry) {
    hold_ended(entry);
    entry.document().add(Cause::job_deleted_while_held);
}

void DocumentTracker::helper_gone(const Entry& entry) {
    hold_ended(entry);
    entry.state.helper_failure_text = texts_.add(system_text_of(entry.rest()));
}

// The line that names the failure comes later.
void DocumentTracker::step_failed(const Entry& entry) {
    entry.state.helper_failure_text = texts_.add(entry.line.message);
}

void DocumentTracker::rewriting_failed(const Entry& entry) {
    entry.state.failed_at_end = true;
    helper_failed(entry, Cause::rewriting_failed);
}

void DocumentTracker::helper_failed(const Entry& entry, Cause cause) {
    const TextId reason = entry.state.helper_failure_text;
    entry.document().add(cause, reason != 0 ? reason : texts_.add(entry.line.message));
    entry.state.helper_failure_text = 0;
}

}  // namespace tsport::report
