// What a report is asked for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tsport/report/log_line.h"

namespace tsport::report {

struct Options {
    std::vector<std::string> logs;   // none: this server's
    std::string html;                // path of the page, which is written besides; empty: none
    std::string prometheus;          // of the metrics' file, the same
    std::optional<Timestamp> since;  // documents that started ...
    std::optional<Timestamp> until;  // ... in between
    std::string printer;             // of a printer of this name or address
    std::optional<std::uint32_t> job;
    std::optional<Timestamp> now;  // when the logs are read, if they may still be written
    bool ndjson = false;           // one object a line for each attempt, for log shippers
    bool check = false;            // whether the exit status tells of documents that failed
    size_t width = 0;              // of the terminal that the text goes to; 0: any
    std::uint64_t rows = 40;       // of documents, for people; scripts and the page get all that are kept
};

}  // namespace tsport::report
