// A document under way, and the threads of the spooler that may drive one.
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "tools/tsport/report/document.h"

namespace tsport::report {

// The state of a thread. The flags record what its log lines have said of the document so far.
struct Course {
    std::uint32_t thread = 0;
    std::uint64_t seen = 0;  // by the count of lines; 0: nobody's
    TextId port = 0;         // that the thread has opened last

    bool open = false;
    Document document;
    bool refused = false;
    bool dropped = false;
    bool not_started = false;
    bool lost = false;
    bool restart_asked = false;
    bool ended = false;
    bool failed_at_end = false;
    std::uint32_t last_size = 0;  // of the buffer handed over last
    std::uint32_t held_at_start_ms = 0;
    std::optional<Stamp> held_since;
    std::optional<Stamp> close_awaited;
    std::optional<Stamp> end_begun;
    std::optional<Trouble> connecting;  // what went wrong with the addresses tried so far ...
    TextId connecting_detail = 0;
    TextId step_detail = 0;  // ... and with the helper
    Stamp last = 0;          // when its thread was heard of, but for lines whose time was only noted ...
    std::array<char, stamp_size> last_text{};  // ... here
    bool last_is_text = false;

    // A start while the last document was open: whether it counts is told by the thread's next line.
    struct Start {
        TextId printer;
        std::uint32_t job;
        Stamp at;
    };
    std::optional<Start> second_start;
};

// The courses of all threads: those seen last, a bounded number.
class Threads {
  public:
    static constexpr size_t sets = 1024;
    static constexpr size_t ways = 8;

    Threads() : courses_(sets * ways) {}
    // Makes room for an unknown thread by evicting the least recently seen one of its set, after calling `before` for
    // it.
    template <typename Before>
    Course& of(std::uint32_t thread, std::uint64_t count, Before before) {
        if (last_->thread == thread && last_->seen != 0) return touch(*last_, count);
        Course* const set = &courses_[(thread * 2654435761u >> 22) % sets * ways];
        Course* oldest = set;
        for (Course* course = set; course != set + ways; ++course) {
            if (course->thread == thread && course->seen != 0) return touch(*course, count);
            if (course->seen < oldest->seen) oldest = course;
        }
        if (oldest->seen != 0) before(*oldest);
        *oldest = Course();
        oldest->thread = thread;
        return touch(*oldest, count);
    }
    template <typename Action>
    void for_all(Action action) {
        for (Course& course : courses_) {
            if (course.seen != 0) action(course);
        }
    }

  private:
    Course& touch(Course& course, std::uint64_t count) {
        course.seen = count;
        last_ = &course;
        return course;
    }

    std::vector<Course> courses_;
    Course* last_ = courses_.data();
};

}  // namespace tsport::report
