#include "tsport/report/tracker.h"

#include <algorithm>
#include <utility>

#include "host/text.h"

namespace tsport::report {
namespace {

// What shows that a document is under way, although its start is not in the log.
bool shows_document(Event event) {
    using enum Event;
    constexpr Event events[] = {write,        given, given_rewritten,   abandoned, data_abandoned,
                                start_failed, lost,  restart_requested, end,       statistics,
                                held};
    return std::find(std::begin(events), std::end(events), event) != std::end(events);
}

Outcome outcome_of(const ThreadState& state) {
    const Document& document = state.document;
    if (state.not_started) return Outcome::not_started;
    if (state.refused) return Outcome::refused;
    if (state.dropped) return Outcome::dropped;
    if (state.restart_requested) return Outcome::restarted;
    if (state.lost || state.failed_at_end) return Outcome::lost;
    if (!state.ended) return state.at_end ? Outcome::under_way : Outcome::unknown;
    return document.attempt > 1 || document.has(Cause::held) ? Outcome::late : Outcome::printed;
}

// From when on a printer that takes nothing, or little, is worth a word.
constexpr std::uint32_t standstill_ms = 20'000;
constexpr std::uint32_t slow_after_ms = 60'000;
constexpr std::uint64_t slow_bytes_per_second = 8192;

// How slowly the printer took its data, if it did, in so much time.
std::string slowness(const ThreadState& state, std::uint64_t taken_ms) {
    if (state.longest_write_ms >= standstill_ms) return "one buffer took " + duration_text(state.longest_write_ms);
    const std::uint64_t rate = state.document.sent * 1000 / std::max<std::uint64_t>(taken_ms, 1);
    if (taken_ms < slow_after_ms || rate >= slow_bytes_per_second) return "";
    return host::size_to_text(state.document.sent) + " in " + duration_text(taken_ms);
}

}  // namespace

DocumentTracker::DocumentTracker(Texts& texts, Listener listener)
    : texts_(texts),
      listener_(std::move(listener)),
      debug_off_(texts, [this](const Document& document) { report(document); }) {}

bool DocumentTracker::process(const LogLine& line) {
    ++line_count_;
    const Message message = recognise(line.message);
    if (!line.detailed) {
        if (!debug_off_.process(line, message) && line.error) listener_.other_error(line, message);
        return true;
    }
    if (message.event == Event::none && line.error) listener_.other_error(line, message);
    // Most lines of a large log say nothing of their document.
    const bool silent = message.event == Event::none || (message.event == Event::history_only && !line.error);
    if (silent && !listener_.line) return true;
    ThreadState& state = state_of(line.thread);
    state.last_time = line.time;
    const bool readable = dispatch({state, line, message, texts_});
    if (listener_.line && state.open) listener_.line(line, message, state.document);
    // Only now, so that the last line of a document still belongs to it.
    if (state.open && state.ended) close(state);
    return readable;
}

bool DocumentTracker::dispatch(const Entry& entry) {
    ThreadState& state = entry.state;
    const Event event = entry.message.event;
    // A start of which the monitor says that the document before it has not ended changes nothing; after any other line
    // the document before it has no end.
    const std::optional<Document> begun = std::exchange(state.second_start, {});
    if (begun && event != Event::started_twice) {
        close(state);
        begin(state, *begun);
    }
    if (!state.open && shows_document(event)) {
        begin(state, {.start = entry.line.time});
    } else if (!state.open && entry.line.error && event != Event::none && event != Event::port_unknown) {
        listener_.other_error(entry.line, entry.message);
        return true;
    }
    switch (event) {
        case Event::start:
            return start(entry);
        case Event::port_closed:
            if (state.not_started) close(state);
            // A document that is under way goes on: its thread may have opened the port once more.
            if (!state.open) state.port = 0;
            return true;
        case Event::port_unknown: {
            Document document{.start = entry.line.time,
                              .port = texts_.add(entry.message.rest),
                              .thread = entry.line.thread,
                              .outcome = Outcome::not_started,
                              .detailed = true};
            document.add(Cause::port_unknown);
            state.port = 0;
            report(document);
            return true;
        }
        case Event::monitor_started:
            monitor_started();
            return true;
        default:
            return apply(entry);
    }
}

ThreadState& DocumentTracker::state_of(std::uint32_t thread) {
    if (threads_.size() >= most_threads && !threads_.contains(thread)) {
        std::vector<ThreadState*> oldest = states_in_order();
        oldest.resize(oldest.size() / 2);
        for (ThreadState* const state : oldest) {
            close(*state);
            threads_.erase(std::uint32_t{state->thread});
        }
    }
    ThreadState& state = threads_[thread];
    state.thread = thread;
    state.last_line = line_count_;
    return state;
}

// In the order in which they were seen last.
std::vector<ThreadState*> DocumentTracker::states_in_order() {
    std::vector<ThreadState*> all;
    for (auto& [thread, state] : threads_) all.push_back(&state);
    std::sort(all.begin(), all.end(),
              [](const ThreadState* a, const ThreadState* b) { return a->last_line < b->last_line; });
    return all;
}

bool DocumentTracker::start(const Entry& entry) {
    ThreadState& state = entry.state;
    const auto parsed = parse_start(entry);
    if (!parsed) return false;
    if (state.open && !state.not_started && !state.ended) {
        state.second_start = parsed;
        return true;
    }
    close(state);
    begin(state, *parsed);
    return true;
}

// A monitor that starts ends whatever the one before it was doing.
void DocumentTracker::monitor_started() {
    for (ThreadState* const state : states_in_order()) {
        if (state->open && !state->ended && !state->not_started) state->document.add(Cause::monitor_restarted);
        close(*state);
        state->port = 0;
    }
}

void DocumentTracker::begin(ThreadState& state, const Document& begun) {
    state = {.thread = state.thread,
             .last_line = state.last_line,
             .last_time = begun.start,
             .port = state.port,
             .open = true,
             .document = begun};
    Document& document = state.document;
    document.port = state.port;
    document.thread = state.thread;
    document.detailed = true;
    const auto failed = failed_jobs_.find(document.job_key());
    if (failed != failed_jobs_.end() && document.start - failed->second.last <= longest_job) {
        document.attempt = static_cast<std::uint16_t>(std::min(failed->second.attempts + 1, UINT16_MAX));
    }
}

void DocumentTracker::close(ThreadState& state) {
    if (!state.open) return;
    state.open = false;
    Document& document = state.document;
    if (state.held_since) document.held_ms += elapsed_ms(*state.held_since, state.last_time);
    // The helper also asks for patience without a reason.
    if (document.held_for != 0 || document.held_ms >= 1000) document.add(Cause::held);
    document.connect_ms = document.start_ms - std::min(document.start_ms, state.held_at_start_ms);
    if (!state.measured && document.total_ms == 0) document.total_ms = elapsed_ms(document.start, state.last_time);
    document.outcome = outcome_of(state);
    const std::string slow = slowness(state, std::uint64_t{document.write_ms} + document.close_ms);
    if (document.came_out() && !document.rewritten && !slow.empty())
        document.add(Cause::printer_slow, texts_.add(slow));
    report(document);
    // Without another line of its thread, a second start is a document that has only just begun.
    if (const auto second = state.second_start) {
        begin(state, *second);
        close(state);
    }
}

void DocumentTracker::report(const Document& document) {
    const std::uint64_t key = document.job_key();
    const auto found = key != 0 && document.attempt > 1 ? failed_jobs_.find(key) : failed_jobs_.end();
    EarlierAttempt left{};
    if (found != failed_jobs_.end()) left = found->second.left;
    const bool counts =
        listener_.document(document, found != failed_jobs_.end() && found->second.counted ? &left : nullptr);
    if (key == 0) return;
    const bool may_follow =
        document.may_be_tried_again() || (document.outcome == Outcome::unknown && found != failed_jobs_.end());
    if (!may_follow) {
        failed_jobs_.erase(key);
        return;
    }
    if (found == failed_jobs_.end() && failed_jobs_.size() >= most_jobs) failed_jobs_.clear();
    left.outcome = document.outcome;
    left.taken = document.taken;
    if (const auto cause = document.cause()) left.causes |= 1u << static_cast<unsigned>(*cause);
    failed_jobs_[key] = {document.attempt, document.end(), left, counts};
}

// What a document is waiting for when the log ends.
void DocumentTracker::judge_standstill(ThreadState& state, Timestamp now) {
    Document& document = state.document;
    document.still_ms = elapsed_ms(state.last_time, now);
    document.total_ms = elapsed_ms(document.start, now);
    const std::string still = duration_text(document.still_ms);
    const std::string sent = host::size_to_text(document.sent) + " sent";
    const bool stands = document.still_ms >= standstill_ms;
    std::optional<Cause> cause;
    std::string text = "starting for " + still;
    if (state.held_since) {
        text = "held for " + duration_text(elapsed_ms(*state.held_since, now));
    } else if (state.close_awaited) {
        text = sent + ", waiting for the printer's close for " + duration_text(elapsed_ms(*state.close_awaited, now));
    } else if (state.write_begun) {
        text = sent + ", the last buffer was given " + duration_text(elapsed_ms(*state.write_begun, now)) + " ago";
        if (stands) cause = Cause::printer_stalled;
    } else if (document.writes != 0) {
        text = sent + ", the spooler has handed over nothing for " + still;
    } else if (state.connecting) {
        text = "connecting for " + still;
        if (stands) cause = Cause::connection_timed_out;
    }
    const std::string slow = slowness(state, state.first_write ? elapsed_ms(*state.first_write, now) : 0);
    if (!cause && !document.rewritten && !slow.empty() && !state.held_since) {
        cause = Cause::printer_slow;
        text = slow + "; " + text;
    }
    if (cause) document.add(*cause, texts_.add(text));
    if (!document.cause()) document.detail = texts_.add(text);
}

void DocumentTracker::finish(Timestamp now) {
    for (ThreadState* const state : states_in_order()) {
        const bool open = state->open && outcome_of(*state) == Outcome::unknown && !state->second_start;
        if (open) judge_standstill(*state, now);
        state->at_end = open;
        close(*state);
    }
    debug_off_.finish();
}

}  // namespace tsport::report
