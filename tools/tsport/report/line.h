// One line of the monitor's log, taken apart.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tsport::report {

// Milliseconds since 1970 in the log's own local time: the server's local time.
using Stamp = std::int64_t;

constexpr size_t stamp_size = 23;  // "2026-03-01 09:05:07,042"

// Nothing when the text is no time of the log.
std::optional<Stamp> parse_stamp(std::string_view text);
std::string stamp_in_words(Stamp stamp);  // as the log writes it, with a point before the milliseconds

struct Line {
    std::string_view stamp;    // not looked at further than its punctuation
    bool error = false;        // level ERROR
    bool debug = false;        // level DEBUG or DEV
    bool detailed = false;     // written with Debug on: the message came with its source and its thread
    std::string_view message;  // of a detailed line, until take_thread, with " [5995]" behind it
    std::uint32_t thread = 0;
};

enum class Kind {
    whole,
    cut,      // begins as a line of the log and does not end as one
    foreign,  // no leading time: part of a name with a line break, or from another program
};
// Without its line end. Views point into the text.
Kind take_apart(std::string_view text, Line& line);

// Takes the thread off the end of a detailed message; false when none is there.
bool take_thread(std::string_view& message, std::uint32_t& thread);

// Removes a decimal number from the front of a text; nothing when there is none or it has more than 18 digits.
std::optional<std::int64_t> take_number(std::string_view& text);

}  // namespace tsport::report
