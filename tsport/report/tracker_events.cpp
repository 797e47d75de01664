// The effect of each line on its document.
#include <algorithm>
#include <cstdio>

#include "tsport/report/thread_state.h"

namespace tsport::report {
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

// The number in "... (Error: 5)"; -1 when there is none.
std::int64_t error_code_of(std::string_view message) {
    const size_t place = message.rfind("(Error: ");
    if (place == std::string_view::npos) return -1;
    std::string_view number = message.substr(place + 8);
    return take_number(number).value_or(-1);
}

// -- The start of a document -----------------------------------------------------------------------------------------

void not_started(const Entry& entry, Cause cause) {
    entry.state.not_started = true;
    entry.document().start_ms = elapsed_ms(entry.document().start, entry.time());
    entry.document().add(cause, entry.texts.add(system_text_of(entry.rest())));
}

// "7 has an associated notapproved file" or "7 has been marked for deletion".
void abandoned(const Entry& entry) {
    Document& document = entry.document();
    std::string_view rest = entry.rest();
    if (const auto job = take_number(rest); job && !document.has_job) {
        document.job = unsigned_of(*job);
        document.has_job = true;
    }
    const bool refused = rest.find("notapproved") != std::string_view::npos;
    (refused ? entry.state.refused : entry.state.dropped) = true;
    document.add(refused ? Cause::not_approved : Cause::dropped_by_helper);
}

// -- Its connection --------------------------------------------------------------------------------------------------

void looking_up(const Entry& entry) {
    entry.state.connect_failure.reset();
    entry.state.connect_failure_text = 0;
    entry.state.connecting = true;
    if (entry.document().address == 0) entry.document().address = entry.texts.add(entry.rest());
}

// Another address of the printer may still take the connection.
void address_failed(const Entry& entry, Cause cause) {
    ThreadState& state = entry.state;
    if (state.connect_failure && *state.connect_failure <= cause) return;
    state.connect_failure = cause;
    state.connect_failure_text = entry.texts.add(system_text_of(entry.rest()));
}

void connect_failed(const Entry& entry) {
    const std::int64_t code = error_code_of(entry.rest());
    address_failed(entry, code == 10061   ? Cause::connection_refused
                          : code == 10060 ? Cause::connection_timed_out
                                          : Cause::unreachable);
}

// "0x23 0x8c 192 168 1 20": the TCP port's two bytes, and the address.
void address_bytes(const Entry& entry) {
    unsigned high = 0;
    unsigned low = 0;
    if (std::sscanf(std::string(entry.rest()).c_str(), "0x%2x 0x%2x", &high, &low) == 2) {
        entry.document().number = static_cast<std::uint16_t>(high << 8 | low);
    }
}

void start_failed(const Entry& entry) {
    ThreadState& state = entry.state;
    Document& document = entry.document();
    state.not_started = true;
    document.start_ms = elapsed_ms(document.start, entry.time());
    if (document.address == 0) document.address = entry.texts.add(entry.rest());
    document.add(state.connect_failure.value_or(Cause::unreachable), state.connect_failure_text);
}

void close_ended(const Entry& entry) {
    ThreadState& state = entry.state;
    if (state.close_awaited) entry.document().close_ms += elapsed_ms(*state.close_awaited, entry.time());
    state.close_awaited.reset();
}

// The close of a connection that was lost before may go the same way, and that is no news.
void bad_close(const Entry& entry, Cause cause) {
    if (entry.document().lost_connection()) return;
    const bool waited = cause == Cause::close_not_seen;
    entry.document().add(cause, waited ? 0 : entry.texts.add("error " + std::string(entry.rest())));
}

// -- Its data --------------------------------------------------------------------------------------------------------

bool data_taken(const Entry& entry) {
    std::string_view rest = entry.rest();
    const auto size = take_number(rest);
    ThreadState& state = entry.state;
    state.last_size = unsigned_of(size.value_or(0));
    state.connecting = false;
    state.write_begun = entry.time();
    if (!state.first_write) state.first_write = entry.time();
    ++state.document.writes;
    return size.has_value();
}

// "65536 bytes and sent 65536 bytes", and " to force attr file: ..." behind it.
bool data_sent(const Entry& entry) {
    ThreadState& state = entry.state;
    Document& document = entry.document();
    if (state.write_begun) {
        state.longest_write_ms = std::max(state.longest_write_ms, elapsed_ms(*state.write_begun, entry.time()));
        state.write_begun.reset();
    }
    std::string_view rest = entry.rest();
    constexpr std::string_view between = " bytes and sent ";
    if (!take_number(rest) || !rest.starts_with(between)) return false;
    rest.remove_prefix(between.size());
    const auto count = take_number(rest);
    if (!count || *count < 0) return false;
    const auto bytes = static_cast<std::uint64_t>(*count);
    if (entry.message.event == Event::given) document.taken += bytes;
    if (!rest.starts_with(" bytes to ")) document.sent += bytes;
    return true;
}

void connection_lost(const Entry& entry) {
    entry.state.lost = true;
    entry.state.write_begun.reset();
    if (!entry.document().lost_connection()) entry.document().add(Cause::connection_lost);
}

void restart_refused(const Entry& entry) {
    entry.state.restart_requested = false;
    entry.document().add(Cause::restart_refused, entry.texts.add(system_text_of(entry.rest())));
}

// -- Its end ---------------------------------------------------------------------------------------------------------

bool ended(const Entry& entry) {
    ThreadState& state = entry.state;
    Document& document = entry.document();
    std::string_view rest = entry.rest();
    const auto result = take_number(rest);
    if (!result) return false;
    state.ended = true;
    if (*result == 0) state.failed_at_end = true;
    if (state.measured) return true;
    if (state.end_begun) document.end_ms = elapsed_ms(*state.end_begun, entry.time());
    document.total_ms = elapsed_ms(document.start, entry.time());
    return true;
}

// "NAME, jobid: 7, ", then "Start 3 ms", "Writes 2, total duration 5 ms, total size 8192 bytes", "End 1 ms" or
// "Total 9 ms".
bool statistics(const Entry& entry) {
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
        document.printer = entry.texts.add(name);
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
        entry.state.measured = true;
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

// '"Door Open"'
void held_for(const Entry& entry) {
    std::string_view text = entry.rest();
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') text = text.substr(1, text.size() - 2);
    Document& document = entry.document();
    Texts& texts = entry.texts;
    const TextId id = texts.add(text);
    if (id == 0 || id == document.held_for) return;
    const std::string before = texts[document.held_for];
    const bool known = (", " + before + ", ").find(", " + texts[id] + ", ") != std::string::npos;
    if (!known) document.held_for = before.empty() ? id : texts.add(before + ", " + texts[id]);
}

void hold_ended(const Entry& entry) {
    ThreadState& state = entry.state;
    if (!state.held_since) return;
    const std::uint32_t held = elapsed_ms(*state.held_since, entry.time());
    state.document.held_ms += held;
    if (!state.end_begun) state.held_at_start_ms += held;
    state.held_since.reset();
}

// The line that names the failure comes later.
void step_failed(const Entry& entry) {
    entry.state.helper_failure_text = entry.texts.add(entry.line.message);
}

void helper_failed(const Entry& entry, Cause cause) {
    const TextId reason = entry.state.helper_failure_text;
    entry.document().add(cause, reason != 0 ? reason : entry.texts.add(entry.line.message));
    entry.state.helper_failure_text = 0;
}

}  // namespace

std::string_view system_text_of(std::string_view message) {
    const size_t place = message.find(" - ");
    return place == std::string_view::npos ? std::string_view() : message.substr(place + 3);
}

Cause loss_of(std::string_view message) {
    return error_code_of(message) == 10054 ? Cause::connection_reset : Cause::connection_lost;
}

// '"NAME", JobId: 7, Version: ...'. The name may hold anything, what follows it not.
std::optional<ThreadState::Start> parse_start(const Entry& entry) {
    constexpr std::string_view behind = "\", JobId: ";
    const std::string_view rest = entry.rest();
    const size_t end = rest.rfind(behind);
    if (!rest.starts_with('"') || end == std::string_view::npos || end == 0) return {};
    std::string_view number = rest.substr(end + behind.size());
    const auto job = take_number(number);
    if (!job) return {};
    return ThreadState::Start{entry.texts.add(rest.substr(1, end - 1)), unsigned_of(*job), entry.time()};
}

bool apply(const Entry& entry) {
    ThreadState& state = entry.state;
    Document& document = state.document;
    // clang-format off
    switch (entry.message.event) {
        case Event::port_opened: state.port = entry.texts.add(entry.rest()); break;
        case Event::started_twice: document.add(Cause::started_twice); break;
        case Event::name_unusable: not_started(entry, Cause::printer_name_unusable); break;
        case Event::printer_not_opened: not_started(entry, Cause::printer_not_in_spooler); break;
        case Event::not_approved:
            state.refused = true;
            document.add(Cause::not_approved);
            break;
        case Event::abandoned: abandoned(entry); break;
        case Event::data_abandoned:
            abandoned(entry);
            document.taken += state.last_size;
            state.write_begun.reset();
            break;

        case Event::looking_up: looking_up(entry); break;
        case Event::lookup_failed: address_failed(entry, Cause::address_unknown); break;
        case Event::no_socket: address_failed(entry, Cause::unreachable); break;
        case Event::connect_failed: connect_failed(entry); break;
        case Event::address_bytes: address_bytes(entry); break;
        case Event::start_failed: start_failed(entry); break;
        case Event::close_awaited: state.close_awaited = entry.time(); break;
        case Event::close_not_seen: bad_close(entry, Cause::close_not_seen); break;
        case Event::close_broken: bad_close(entry, Cause::broken_at_end); break;
        case Event::close_seen: close_ended(entry); break;

        case Event::write: return data_taken(entry);
        case Event::given: case Event::given_rewritten: return data_sent(entry);
        case Event::send_failed:
            document.add(loss_of(entry.rest()), entry.texts.add(system_text_of(entry.rest())));
            break;
        case Event::send_timed_out: document.add(Cause::printer_stalled); break;
        case Event::send_error: document.add(Cause::connection_lost); break;
        case Event::sent_nothing: document.add(Cause::printer_took_nothing); break;
        case Event::lost: connection_lost(entry); break;
        case Event::restart_requested: state.restart_requested = true; break;
        case Event::restart_refused: restart_refused(entry); break;

        case Event::end: state.end_begun = entry.time(); break;
        // Of a start that failed, or of none.
        case Event::no_document: state.open = state.open && (state.not_started || document.writes != 0); break;
        case Event::ended: return ended(entry);
        case Event::statistics: return statistics(entry);

        case Event::held: state.held_since = state.held_since.value_or(entry.time()); break;
        case Event::held_for: held_for(entry); break;
        case Event::answered: case Event::dropped: hold_ended(entry); break;
        case Event::deleted_while_held:
            hold_ended(entry);
            document.add(Cause::job_deleted_while_held);
            break;
        case Event::check_failed: case Event::check_not_ended: helper_failed(entry, Cause::check_failed); break;
        case Event::check_again: document.remove(Cause::check_failed); break;
        case Event::helper_gone:
            hold_ended(entry);
            state.helper_failure_text = entry.texts.add(system_text_of(entry.rest()));
            break;
        case Event::helper_not_found: case Event::helper_not_started: case Event::work_file_failed:
            step_failed(entry);
            break;
        case Event::no_check: document.add(Cause::helper_missing_for_check); break;
        case Event::identity: document.add(Cause::identity, entry.texts.add(entry.line.message)); break;

        case Event::work_file_full: helper_failed(entry, Cause::work_file_full); break;
        case Event::rewriting: document.rewritten = true; break;
        case Event::rewriting_step_failed:
            if (state.helper_failure_text == 0) step_failed(entry);
            break;
        case Event::no_rewriting: document.add(Cause::helper_missing_for_rewriting); break;
        case Event::rewriting_failed:
            state.failed_at_end = true;
            helper_failed(entry, Cause::rewriting_failed);
            break;
        case Event::printed_unchanged: helper_failed(entry, Cause::printed_unchanged); break;
        default: break;
    }
    // clang-format on
    return true;
}

}  // namespace tsport::report
