// The effect of each line on its document.
#include <algorithm>
#include <cstdio>
#include <utility>

#include "tsport/report/tracker.h"

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

// One line, and what it says.
struct Effect : Entry {
    Document& document = state.document;
    const Timestamp time = line.time;
    std::string_view rest = message.rest;

    bool apply();

  private:
    TextId system_text() const { return texts.add(system_text_of(rest)); }

    // -- The start of a document -------------------------------------------------------------------------------------

    void not_started(Cause cause, TextId text) {
        state.not_started = true;
        document.start_ms = elapsed_ms(document.start, time);
        document.add(cause, text);
    }

    void name_job(std::int64_t job) {
        document.job = unsigned_of(job);
        document.has_job = true;
    }

    // "7 has an associated notapproved file" or "7 has been marked for deletion".
    void abandoned() {
        if (const auto job = take_number(rest); job && !document.has_job) name_job(*job);
        const bool refused = rest.find("notapproved") != std::string_view::npos;
        (refused ? state.refused : state.dropped) = true;
        document.add(refused ? Cause::not_approved : Cause::dropped_by_helper);
    }

    // -- Its connection ----------------------------------------------------------------------------------------------

    // Another address of the printer may still take the connection.
    void address_failed(Cause cause) {
        if (state.connect_failure && *state.connect_failure <= cause) return;
        state.connect_failure = cause;
        state.connect_failure_text = system_text();
    }

    void connect_failed() {
        const std::int64_t code = error_code_of(rest);
        address_failed(code == 10061   ? Cause::connection_refused
                       : code == 10060 ? Cause::connection_timed_out
                                       : Cause::unreachable);
    }

    // "0x23 0x8c 192 168 1 20": the TCP port's two bytes, and the address.
    void address_bytes() {
        unsigned high = 0;
        unsigned low = 0;
        if (std::sscanf(std::string(rest).c_str(), "0x%2x 0x%2x", &high, &low) == 2) {
            document.number = static_cast<std::uint16_t>(high << 8 | low);
        }
    }

    // -- Its data ----------------------------------------------------------------------------------------------------

    bool data_taken() {
        const auto size = take_number(rest);
        state.last_size = unsigned_of(size.value_or(0));
        state.connecting = false;
        state.write_begun = time;
        if (!state.first_write) state.first_write = time;
        ++document.writes;
        return size.has_value();
    }

    // "65536 bytes and sent 65536 bytes", and " to force attr file: ..." behind it.
    bool data_sent() {
        if (state.write_begun) {
            state.longest_write_ms = std::max(state.longest_write_ms, elapsed_ms(*state.write_begun, time));
            state.write_begun.reset();
        }
        constexpr std::string_view between = " bytes and sent ";
        if (!take_number(rest) || !rest.starts_with(between)) return false;
        rest.remove_prefix(between.size());
        const auto count = take_number(rest);
        if (!count || *count < 0) return false;
        const auto bytes = static_cast<std::uint64_t>(*count);
        if (message.event == Event::given) document.taken += bytes;
        if (!rest.starts_with(" bytes to ")) document.sent += bytes;
        return true;
    }

    // -- Its end -----------------------------------------------------------------------------------------------------

    bool ended() {
        const auto result = take_number(rest);
        if (!result) return false;
        state.ended = true;
        if (*result == 0) state.failed_at_end = true;
        if (state.measured) return true;
        if (state.end_begun) document.end_ms = elapsed_ms(*state.end_begun, time);
        document.total_ms = elapsed_ms(document.start, time);
        return true;
    }

    // "NAME, jobid: 7, ", then "Start 3 ms", "Writes 2, total duration 5 ms, total size 8192 bytes", "End 1 ms" or
    // "Total 9 ms".
    bool statistics() {
        constexpr std::string_view behind = ", jobid: ";
        const size_t end = rest.rfind(behind);
        if (end == std::string_view::npos) return false;
        const std::string_view name = rest.substr(0, end);
        rest.remove_prefix(end + behind.size());
        const auto job = take_number(rest);
        if (!job || !rest.starts_with(", ")) return false;
        rest.remove_prefix(2);
        if (!document.has_job) {
            name_job(*job);
            document.printer = texts.add(name);
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
            state.measured = true;
            if (!document.started) document.start = time - std::chrono::milliseconds(figure);
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

    // -- The helper --------------------------------------------------------------------------------------------------

    // '"Door Open"'
    void held_for() {
        if (rest.size() >= 2 && rest.front() == '"' && rest.back() == '"') rest = rest.substr(1, rest.size() - 2);
        const TextId id = texts.add(rest);
        if (id == 0 || id == document.held_for) return;
        const std::string before = texts[document.held_for];
        const bool known = (", " + before + ", ").find(", " + texts[id] + ", ") != std::string::npos;
        if (!known) document.held_for = before.empty() ? id : texts.add(before + ", " + texts[id]);
    }

    void hold_ended() {
        if (!state.held_since) return;
        const std::uint32_t held = elapsed_ms(*state.held_since, time);
        document.held_ms += held;
        if (!state.end_begun) state.held_at_start_ms += held;
        state.held_since.reset();
    }

    void helper_failed(Cause cause) {
        const TextId reason = std::exchange(state.helper_failure_text, 0);
        document.add(cause, reason != 0 ? reason : texts.add(line.message));
    }
};

bool Effect::apply() {
    // clang-format off
    switch (message.event) {
        case Event::port_opened: state.port = texts.add(rest); break;
        case Event::started_twice: document.add(Cause::started_twice); break;
        case Event::name_unusable: not_started(Cause::printer_name_unusable, system_text()); break;
        case Event::printer_not_opened: not_started(Cause::printer_not_in_spooler, system_text()); break;
        case Event::not_approved:
            state.refused = true;
            document.add(Cause::not_approved);
            break;
        case Event::abandoned: abandoned(); break;
        case Event::data_abandoned:
            abandoned();
            document.taken += state.last_size;
            state.write_begun.reset();
            break;

        case Event::looking_up:
            state.connect_failure.reset();
            state.connect_failure_text = 0;
            state.connecting = true;
            if (document.address == 0) document.address = texts.add(rest);
            break;
        case Event::lookup_failed: address_failed(Cause::address_unknown); break;
        case Event::connect_failed: connect_failed(); break;
        case Event::address_bytes: address_bytes(); break;
        case Event::start_failed:
            if (document.address == 0) document.address = texts.add(rest);
            not_started(state.connect_failure.value_or(Cause::unreachable), state.connect_failure_text);
            break;
        case Event::close_awaited: state.close_awaited = time; break;
        // The close of a connection that was lost before may go the same ways, and that is no news.
        case Event::close_not_seen:
            if (!document.lost_connection()) document.add(Cause::close_not_seen);
            break;
        case Event::close_broken:
            if (!document.lost_connection()) {
                document.add(Cause::broken_at_end, texts.add("error " + std::string(rest)));
            }
            break;
        case Event::close_seen:
            if (state.close_awaited) document.close_ms += elapsed_ms(*state.close_awaited, time);
            state.close_awaited.reset();
            break;

        case Event::write: return data_taken();
        case Event::given: case Event::given_rewritten: return data_sent();
        case Event::send_failed: document.add(loss_of(rest), system_text()); break;
        case Event::send_timed_out: document.add(Cause::printer_stalled); break;
        case Event::sent_nothing: document.add(Cause::printer_took_nothing); break;
        case Event::lost:
            state.lost = true;
            state.write_begun.reset();
            if (!document.lost_connection()) document.add(Cause::connection_lost);
            break;
        case Event::restart_requested: state.restart_requested = true; break;
        case Event::restart_refused:
            state.restart_requested = false;
            document.add(Cause::restart_refused, system_text());
            break;

        case Event::end: state.end_begun = time; break;
        // Of a start that failed, or of none.
        case Event::no_document: state.open = state.open && (state.not_started || document.writes != 0); break;
        case Event::ended: return ended();
        case Event::statistics: return statistics();

        case Event::held: state.held_since = state.held_since.value_or(time); break;
        case Event::held_for: held_for(); break;
        case Event::answered: case Event::dropped: hold_ended(); break;
        case Event::deleted_while_held:
            hold_ended();
            document.add(Cause::job_deleted_while_held);
            break;
        case Event::check_failed: helper_failed(Cause::check_failed); break;
        case Event::check_again: document.remove(Cause::check_failed); break;
        case Event::helper_gone:
            hold_ended();
            state.helper_failure_text = system_text();
            break;
        case Event::helper_not_found: case Event::step_failed:
            state.helper_failure_text = texts.add(line.message);
            break;
        case Event::no_check: document.add(Cause::helper_missing_for_check); break;
        case Event::identity: document.add(Cause::identity, texts.add(line.message)); break;

        case Event::work_file_full: helper_failed(Cause::work_file_full); break;
        case Event::rewriting: document.rewritten = true; break;
        case Event::rewriting_step_failed:
            if (state.helper_failure_text == 0) state.helper_failure_text = texts.add(line.message);
            break;
        case Event::no_rewriting: document.add(Cause::helper_missing_for_rewriting); break;
        case Event::rewriting_failed:
            state.failed_at_end = true;
            helper_failed(Cause::rewriting_failed);
            break;
        case Event::printed_unchanged: helper_failed(Cause::printed_unchanged); break;
        default: break;
    }
    // clang-format on
    return true;
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
std::optional<Document> parse_start(const Entry& entry) {
    constexpr std::string_view behind = "\", JobId: ";
    const std::string_view rest = entry.message.rest;
    const size_t end = rest.rfind(behind);
    if (!rest.starts_with('"') || end == std::string_view::npos || end == 0) return {};
    std::string_view number = rest.substr(end + behind.size());
    const auto job = take_number(number);
    if (!job) return {};
    return Document{.start = entry.line.time,
                    .printer = entry.texts.add(rest.substr(1, end - 1)),
                    .job = unsigned_of(*job),
                    .started = true,
                    .has_job = true};
}

bool apply(const Entry& entry) {
    return Effect{entry}.apply();
}

}  // namespace tsport::report
