// Fault points. Every function of the layer that can fail on Windows begins with one, so that a test can make the
// k-th call of a run fail with an error that function really gives.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace winapi::fault {

// Between arm() and disarm().
inline std::atomic<bool> is_armed{false};

// One per function, with static storage duration: the list of all points is complete once the program has loaded.
class Point {
  public:
    explicit Point(const char* function);
    Point(const Point&) = delete;
    Point& operator=(const Point&) = delete;

    // Counts the call; true when this one has to fail.
    bool fails() { return is_armed && count(); }
    // For transfers of `size` bytes: the bytes to really transfer, less than `size` when this call has to transfer only
    // a part. Counts nothing; call it after fails().
    static unsigned shortened(unsigned size) { return is_armed ? shorten(size) : size; }

    const char* function() const { return function_; }
    std::uint64_t calls() const { return calls_; }
    // Calls that were made to fail or to transfer only a part.
    std::uint64_t failures() const { return failures_; }

  private:
    bool count();  // true when the call has to fail
    static unsigned shorten(unsigned size);

    const char* function_;
    std::uint64_t calls_ = 0;
    std::uint64_t failures_ = 0;
};

enum class Mode {
    once,          // the k-th call fails
    from_then_on,  // the k-th call and all later ones fail
    short_count,   // the k-th call transfers only a part, where the function transfers bytes
    end,           // the k-th call calls what set_end() was given, without counting any further ones
};

// Starts counting calls from 1 anew and lets the `call`-th fail as `mode` says; 0 only counts.
void arm(std::uint64_t call, Mode mode);
void set_end(void (*end)());
// Ends it; returns the number of calls counted.
std::uint64_t disarm();
// The function whose call was made to fail since arm(); empty when none was.
std::string failed_function();

// All points of the layer, in the order of their names.
std::vector<const Point*> points();

}  // namespace winapi::fault
