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

}  // namespace tsport::report
