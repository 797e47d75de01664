// What a report is asked for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tsport/report/log_line.h"

namespace tsport::report {

struct Options {
    std::vector<std::string> logs;
    std::string html;                // path of the page, which is written besides; empty: none
    std::optional<Timestamp> since;  // documents that started ...
    std::optional<Timestamp> until;  // ... in between
    std::string printer;             // of a printer of this name or address
    std::optional<std::uint32_t> job;
    std::uint64_t rows = 40;  // of documents, for people; scripts and the page get all that are kept
};

// "2026-03-01", with "09:05" or "09:05:07" behind it, or a span before `now` like "90m", "24h", "7d"; nothing for
// anything else.
std::optional<Timestamp> parse_time(const std::string& text, Timestamp now);
// The current local time.
Timestamp local_now();

}  // namespace tsport::report
