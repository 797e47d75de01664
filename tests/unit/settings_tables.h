// The documented settings. Kept apart from the tables of the code, so that a mistake there is not repeated here:
//   settings.txt  "<name> on|off|<integer>|text<size> <default text>|handler|ignored", one line per setting; a default
//   of
//                 "?" is this product's choice
//   dump.txt      "<format>=<setting or field>": the lines of the dump in their order
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/unit/log_fixture.h"

// The lines of such a table, each cut at the first `separator`.
inline std::vector<std::pair<std::string, std::string>> table_entries(const std::string& file, char separator) {
    std::vector<std::pair<std::string, std::string>> entries;
    for (std::string& line : split(read_bytes(TEST_FOLDER "/unit/" + file), "\n")) {
        if (line.ends_with('\r')) line.pop_back();
        const size_t cut = line.find(separator);
        entries.emplace_back(line.substr(0, cut), line.substr(cut + 1));
    }
    return entries;
}
