// The document that a thread of the spooler is driving, and all threads that may drive one.
#pragma once

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <vector>

#include "tsport/report/document.h"

namespace tsport::report {

// What the lines of a thread have said of its document so far.
struct ThreadState {
    std::uint32_t thread = 0;
    std::uint64_t last_line = 0;  // its number in the log
    Timestamp last_time;
    TextId port = 0;  // that the thread has opened last

    bool open = false;  // a document is under way
    Document document;
    bool refused = false;
    bool dropped = false;
    bool not_started = false;
    bool lost = false;
    bool restart_requested = false;
    bool ended = false;
    bool failed_at_end = false;
    std::uint32_t last_size = 0;  // of the buffer handed over last
    std::uint32_t held_at_start_ms = 0;
    std::optional<Timestamp> held_since;
    std::optional<Timestamp> close_awaited;
    std::optional<Timestamp> end_begun;
    std::optional<Cause> connect_failure;  // the gravest one of the addresses tried so far
    TextId connect_failure_text = 0;
    TextId helper_failure_text = 0;

    // A start while the last document was open: whether it counts is told by the thread's next line.
    struct Start {
        TextId printer;
        std::uint32_t job;
        Timestamp time;
    };
    std::optional<Start> second_start;
};

// A bounded number of threads, those seen last.
class ThreadStates {
  public:
    static constexpr size_t most = 8192;

    // The state of a thread, which may be a new one. When there are too many, the half of them that has not been seen
    // for longest is removed first; `before_removal` is called for each of those.
    template <typename Action>
    ThreadState& of(std::uint32_t thread, std::uint64_t line, Action before_removal) {
        if (states_.size() >= most && !states_.contains(thread)) remove_oldest(before_removal);
        ThreadState& state = states_[thread];
        state.thread = thread;
        state.last_line = line;
        return state;
    }
    // In the order in which they were seen last.
    std::vector<ThreadState*> in_order() {
        std::vector<ThreadState*> all;
        for (auto& [thread, state] : states_) all.push_back(&state);
        std::sort(all.begin(), all.end(),
                  [](const ThreadState* a, const ThreadState* b) { return a->last_line < b->last_line; });
        return all;
    }

  private:
    template <typename Action>
    void remove_oldest(Action before_removal) {
        std::vector<ThreadState*> oldest = in_order();
        oldest.resize(oldest.size() / 2);
        for (ThreadState* const state : oldest) {
            before_removal(*state);
            states_.erase(std::uint32_t{state->thread});
        }
    }

    std::unordered_map<std::uint32_t, ThreadState> states_;
};

}  // namespace tsport::report
