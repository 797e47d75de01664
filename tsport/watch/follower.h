// A log that grows and is rotated, followed without holding it open.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace tsport::watch {

// Opens the log for a moment at each look, sharing it with everybody: a rotation, which renames it, is never kept
// waiting.
class Follower {
  public:
    static constexpr std::uint64_t from_end = 4 << 20;  // bytes of the log that the first look reads

    explicit Follower(std::string path) : path_(std::move(path)) {}

    // Hands over the complete lines that were added since the last look, those at the end of a file that was rotated
    // meanwhile included. False with the reason when the log cannot be read; without one it has no lines.
    bool look(const std::function<void(std::string_view)>& line, std::string& why);

  private:
    bool read(const std::string& path, const std::function<void(std::string_view)>& line, std::string& why);
    bool is_beginning_of(const std::string& path) const;

    const std::string path_;
    std::string beginning_;     // of the file that is followed: its first line tells files apart
    std::uint64_t offset_ = 0;  // in it
    std::string rest_;          // a line without its end so far
    bool first_ = true;
};

}  // namespace tsport::watch
