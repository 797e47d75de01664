// The progress of long work, on a terminal.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace host {

// One line that is overwritten, shown once the work takes longer than `first_after`; removed when destroyed. It says
// when the work has stalled, and since when. Any thread may call show().
class Progress {
  public:
    struct Options {
        std::FILE* stream = nullptr;  // a terminal; null: nothing is shown
        std::uint64_t total = 0;
        // The line for so much work done in so many seconds; without a function "N of TOTAL DEED".
        std::function<std::string(std::uint64_t done, double seconds)> line = {};
        std::string deed = {};
        std::string standstill = "nothing has moved";  // the words for it
        std::chrono::milliseconds first_after{200};
        std::chrono::milliseconds interval{100};
        std::chrono::milliseconds still_after{3000};
    };
    explicit Progress(const Options& options);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show(std::uint64_t done);
    // A line that stays, on a stream that may be the same terminal.
    void print(const std::string& line, std::FILE* stream);

  private:
    void run();
    void wipe() const;
    void draw(std::chrono::steady_clock::time_point now);

    const Options options_;
    const std::chrono::steady_clock::time_point start_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::uint64_t done_ = 0;
    std::chrono::steady_clock::time_point moved_;  // when `done_` last changed
    bool ended_ = false;
    bool shown_ = false;
    std::thread painter_;
};

// "nothing has moved for 12 s, since 14:03:51"
std::string standstill_to_text(const std::string& what, std::chrono::milliseconds duration,
                               std::chrono::system_clock::time_point now);

}  // namespace host
