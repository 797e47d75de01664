// The lines of print-provider.conf and env-version, taken apart as the monitor takes them apart.
#pragma once

#include <string>
#include <vector>

namespace tsport::doctor {

struct ConfLine {
    enum class Kind { comment, no_equals, no_name, empty_value, entry };
    Kind kind = Kind::comment;
    size_t number = 0;  // as the monitor counts: each piece of a line that is too long for it counts as one
    std::string text;   // the whole line
    std::string name;   // up to the "="
    std::string value;
    bool cut_by_cr = false;   // a lone carriage return ends it early
    bool cut_by_nul = false;  // a NUL byte does
    bool is_piece = false;    // of a line that is longer than the monitor's buffer
};

enum class ConfFile { settings, version };  // the two differ in where a value ends

std::vector<ConfLine> split_conf(const std::string& bytes, ConfFile file);

// What the monitor reads of the file: all before a Ctrl-Z, which ends a text.
std::string readable_part(const std::string& bytes);

// A blank in the monitor's sense; a tab is none.
bool is_conf_blank(char c);

}  // namespace tsport::doctor
