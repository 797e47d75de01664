#include "winapi/linux/fault.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <utility>

#include "winapi/linux/handle.h"

namespace winapi::fault {
namespace {

struct State {
    std::mutex mutex;
    std::vector<const Point*> points;
    std::uint64_t call = 0;
    Mode mode = Mode::once;
    std::uint64_t counted = 0;
    const Point* failed = nullptr;
    void (*end)() = nullptr;
};

thread_local bool shorten_next = false;

}  // namespace

Point::Point(const char* function) : function_(function) {
    const std::lock_guard lock(the<State>().mutex);
    the<State>().points.push_back(this);
}

bool Point::count() {
    State& s = the<State>();
    std::unique_lock lock(s.mutex);
    ++calls_;
    ++s.counted;
    shorten_next = false;
    if (s.call == 0 || s.counted < s.call) return false;
    if (s.counted > s.call && s.mode != Mode::from_then_on) return false;
    if (s.failed == nullptr) s.failed = this;
    ++failures_;
    if (s.mode == Mode::short_count) {
        shorten_next = true;
        return false;
    }
    if (s.mode == Mode::end) {
        is_armed = false;
        lock.unlock();
        s.end();
    }
    return true;
}

unsigned Point::shorten(unsigned size) {
    return std::exchange(shorten_next, false) && size > 1 ? size / 2 : size;
}

void arm(std::uint64_t call, Mode mode) {
    State& s = the<State>();
    const std::lock_guard lock(s.mutex);
    s.call = call;
    s.mode = mode;
    s.counted = 0;
    s.failed = nullptr;
    is_armed = true;
}

void set_end(void (*end)()) {
    the<State>().end = end;
}

std::uint64_t disarm() {
    State& s = the<State>();
    const std::lock_guard lock(s.mutex);
    is_armed = false;
    return s.counted;
}

std::string failed_function() {
    State& s = the<State>();
    const std::lock_guard lock(s.mutex);
    return s.failed == nullptr ? std::string() : std::string(s.failed->function());
}

std::vector<const Point*> points() {
    State& s = the<State>();
    const std::lock_guard lock(s.mutex);
    std::vector<const Point*> sorted = s.points;
    std::sort(sorted.begin(), sorted.end(),
              [](const Point* a, const Point* b) { return std::strcmp(a->function(), b->function()) < 0; });
    return sorted;
}

}  // namespace winapi::fault
