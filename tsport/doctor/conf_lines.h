// The lines of print-provider.conf and env-version, and what the monitor overlooks in them.
#pragma once

#include <string>
#include <vector>

#include "common/config.h"

namespace tsport::doctor {

struct ConfLine {
    ConfigLineKind kind = CONFIG_LINE_COMMENT;
    size_t number = 0;  // as the monitor counts: each piece of a line that is too long for it counts as one
    std::string text;   // the whole line
    std::string name;   // up to the "="
    std::string value;
    bool cut_by_cr = false;   // a lone carriage return ends it early
    bool cut_by_nul = false;  // a NUL byte does
    bool is_piece = false;    // of a line that is longer than the monitor's buffer
};

std::vector<ConfLine> split_conf(const std::string& bytes, ConfigFile file);

// What the monitor reads of the file: all before a Ctrl-Z, which ends a text.
std::string readable_part(const std::string& bytes);

}  // namespace tsport::doctor
