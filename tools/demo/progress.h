// A progress bar on the terminal.
#pragma once

#include <chrono>
#include <cstdint>

namespace demo {

// Shows itself only on a terminal, and only when the work takes longer than a moment; gone when destroyed.
class Progress {
  public:
    explicit Progress(std::uint64_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    void show(std::uint64_t done);

  private:
    std::uint64_t total_;
    bool terminal_;
    bool shown_ = false;
    std::chrono::steady_clock::time_point start_;
    std::chrono::steady_clock::time_point next_;
};

}  // namespace demo
