#include "tsport/report/tracker.h"

namespace tsport::report {
namespace {

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
        case Event::restart_requested:
        case Event::end:
        case Event::statistics:
        case Event::held:
            return true;
        default:
            return false;
    }
}

Outcome outcome_of(const ThreadState& state) {
    const Document& document = state.document;
    if (state.not_started) return Outcome::not_started;
    if (state.refused) return Outcome::refused;
    if (state.dropped) return Outcome::dropped;
    if (state.restart_requested) return Outcome::restarted;
    if (state.lost || state.failed_at_end) return Outcome::lost;
    if (!state.ended) return Outcome::unknown;
    return document.attempt > 1 || document.has(Cause::held) ? Outcome::late : Outcome::printed;
}

}  // namespace

DocumentTracker::DocumentTracker(Texts& texts, Listener listener)
    : texts_(texts), listener_(std::move(listener)), debug_off_(texts, listener_.document) {}

bool DocumentTracker::process(const LogLine& line) {
    ++line_count_;
    const Message message = recognise(line.message);
    if (line.detailed) return process_detailed(line, message);
    if (!debug_off_.process(line, message) && line.error) listener_.other_error(line.message);
    return true;
}

bool DocumentTracker::process_detailed(const LogLine& line, const Message& message) {
    if (message.event == Event::none && line.error) listener_.other_error(line.message);
    // Most lines of a large log say nothing of their document.
    const bool silent = message.event == Event::none || (message.event == Event::history_only && !line.error);
    if (silent && !listener_.line) return true;
    ThreadState& state = threads_.of(line.thread, line_count_, [this](ThreadState& old) { close(old); });
    state.last_time = line.time;
    bool readable = true;
    dispatch({state, line, message, readable});
    if (listener_.line && state.open) listener_.line(line, message, state.document);
    // Only now, so that the last line of a document still belongs to it.
    if (state.open && state.ended) close(state);
    return readable;
}

void DocumentTracker::dispatch(const Entry& entry) {
    ThreadState& state = entry.state;
    const Event event = entry.message.event;
    if (state.second_start) settle_second_start(state, event);
    if (!state.open && shows_document(event)) {
        begin(state, entry.time());
    } else if (!state.open && entry.line.error && event != Event::none && event != Event::port_unknown) {
        listener_.other_error(entry.line.message);
        return;
    }
    if (const Handler handle = handlers_[static_cast<size_t>(event)]) handle(*this, entry);
}

void DocumentTracker::begin(ThreadState& state, Timestamp time) {
    ThreadState fresh;
    fresh.thread = state.thread;
    fresh.last_line = state.last_line;
    fresh.last_time = time;
    fresh.port = state.port;
    fresh.open = true;
    fresh.document.start = time;
    fresh.document.thread = state.thread;
    fresh.document.port = state.port;
    fresh.document.detailed = true;
    state = fresh;
}

void DocumentTracker::begin(ThreadState& state, const ThreadState::Start& start) {
    begin(state, start.time);
    Document& document = state.document;
    document.started = true;
    document.has_job = true;
    document.printer = start.printer;
    document.job = start.job;
    document.attempt = attempts_.number_for(start.printer, start.job, start.time);
}

void DocumentTracker::close(ThreadState& state) {
    if (!state.open) return;
    state.open = false;
    Document& document = state.document;
    if (state.held_since) document.held_ms += elapsed_ms(*state.held_since, state.last_time);
    // The helper also asks for patience without a reason.
    if (document.held_for != 0 || document.held_ms >= 1000) document.add(Cause::held);
    document.connect_ms = document.start_ms - std::min(document.start_ms, state.held_at_start_ms);
    if (document.total_ms == 0) document.total_ms = elapsed_ms(document.start, state.last_time);
    document.outcome = outcome_of(state);
    attempts_.note(document);
    listener_.document(document);
    // Without another line of its thread, a second start is a document that has only just begun.
    if (const auto second = state.second_start) {
        begin(state, *second);
        close(state);
    }
}

// A monitor that starts ends whatever the one before it was doing.
void DocumentTracker::monitor_started() {
    for (ThreadState* const state : threads_.in_order()) {
        if (state->open && !state->ended && !state->not_started) state->document.add(Cause::monitor_restarted);
        close(*state);
        state->port = 0;
    }
}

void DocumentTracker::finish() {
    for (ThreadState* const state : threads_.in_order()) close(*state);
    debug_off_.finish();
}

}  // namespace tsport::report
