// One line of the monitor's log, parsed.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tsport::report {

// The log's own time: the local time of its server.
using Timestamp = std::chrono::local_time<std::chrono::milliseconds>;

// "2026-03-01 09:05:07,042" at the front of a text; nothing when it is not there or no such time exists.
std::optional<Timestamp> parse_timestamp(std::string_view text);
// "2026-03-01", with "09:05" or "09:05:07" behind it, or a span before `now` like "90m", "24h", "7d"; nothing for
// anything else.
std::optional<Timestamp> parse_time(const std::string& text, Timestamp now);
// The current local time.
Timestamp local_now();
// As the log writes it, with a point before the milliseconds.
std::string to_text(Timestamp time);
// The same to the second.
std::string second_text(Timestamp time);
// From one to the other; 0 when they are the wrong way around.
std::uint32_t elapsed_ms(Timestamp from, Timestamp to);

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
