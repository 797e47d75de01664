// The lines of the monitor's log, read and parsed.
#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tsport::report {

// The log's own time: the local time of its server.
using Timestamp = std::chrono::local_time<std::chrono::milliseconds>;

// "2026-03-01 09:05:07,042" at the front of a text; nothing when it is not there or no such time exists.
std::optional<Timestamp> parse_timestamp(std::string_view text);
// "2026-03-01", with "09:05" or "09:05:07" behind it, or a span before `now` like "90m", "24h", "7d"; nothing for
// anything else.
std::optional<Timestamp> parse_time(const std::string& text, Timestamp now);
// A moment, and the current one, in local time; nothing when the system cannot tell it.
std::optional<Timestamp> local_time_of(std::time_t moment);
Timestamp local_now();
// As the log writes it, with a point before the milliseconds.
std::string to_text(Timestamp time);
// The same to the second.
std::string second_text(Timestamp time);
// From one to the other; 0 when they are the wrong way around.
std::uint32_t elapsed_ms(Timestamp from, Timestamp to);

// A log, line by line, in bounded memory.
class LineReader {
  public:
    static constexpr size_t longest = 1 << 20;  // bytes of a line

    // The stream has to outlive the reader.
    explicit LineReader(std::istream& stream) : stream_(stream), buffer_(longest + 1) {}

    // The next line; false behind the last one, or when the stream cannot be read.
    bool next();
    // Without its line feed; valid until the next one is read.
    std::string_view line() const { return line_; }
    // False when the line is longer than that: its rest has been skipped.
    bool complete() const { return complete_; }
    std::uint64_t bytes() const { return bytes_; }
    // Some tools write a copy as UTF-16; none of its lines can be understood.
    bool is_utf16() const { return is_utf16_; }

  private:
    std::istream& stream_;
    std::vector<char> buffer_;
    std::string_view line_;
    bool complete_ = true;
    bool is_utf16_ = false;
    std::uint64_t bytes_ = 0;
};

struct LogLine {
    Timestamp time;
    bool error = false;        // level ERROR
    bool detailed = false;     // written with Debug on: with source and thread
    std::string_view message;  // without both
    std::uint32_t thread = 0;  // of a detailed line
};

enum class LineKind {
    complete,
    truncated,  // begins as a line of the log and does not end as one
    foreign,    // no leading time: part of a name with a line break, or from another program
};
// The text is a line without its line feed; the message points into it. Only a complete line is filled in.
LineKind parse_line(std::string_view text, LogLine& line);

// Removes a decimal number from the front of a text; nothing when there is none or it does not fit.
std::optional<std::int64_t> take_number(std::string_view& text);

}  // namespace tsport::report
