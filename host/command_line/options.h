// The command lines of all programs: options and operands, help, version, and the nearest known word for a wrong one.
// Needs the standard library alone.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace command_line {

using Words = std::vector<std::string>;

struct Option {
    std::string name;   // with its dashes
    std::string value;  // the word for its value in messages ("FILE"); empty: a switch, which takes none
    // Takes the value, "" for a switch; returns what is wrong with it, or nothing.
    std::function<std::string(const std::string& value)> take;
};
using Options = std::vector<Option>;
const Option* find_option(const Options& options, const std::string& name);  // null: there is none

// Their value is stored in `target`, which has to outlive the parsing.
Option flag(const std::string& name, bool& target);
// Any text but an empty one.
Option text(const std::string& name, const std::string& value, std::string& target);
// The same; may be given several times.
Option texts(const std::string& name, const std::string& value, Words& target);
// A decimal number within these limits; and the parsing of one, false when it is not that.
bool parse_number(const std::string& text, std::uint64_t least, std::uint64_t most, std::uint64_t& number);
Option number(const std::string& name, std::uint64_t least, std::uint64_t most, std::uint64_t& target);

// A command line; no option has received its value yet.
struct ParsedLine {
    Words words;  // what is no option, in order
    std::vector<std::pair<const Option*, std::string>> given;
    bool help = false;     // -h, --help or /?
    bool version = false;  // --version
};

// Options may stand anywhere, as "--name value" or "--name=value"; "--" ends them, and "-" is an operand. Of two
// options of one name the first counts. False with the reason when an option is unknown or its value is missing.
// `options` has to outlive `line`.
bool split(const Words& arguments, const Options& options, ParsedLine& line, std::string& why);
// Hands each option its value, in order; false with the reason when one refuses it.
bool take(const ParsedLine& line, std::string& why);

// "; did you mean X?" with the known word that is closest to a mistyped one; empty when none is close.
std::string did_you_mean(const std::string& word, const Words& known);

const char* version();

struct Program {
    const char* name;
    const char* usage;  // what --help prints
    Options options;
};
// The line of a program without verbs. Returns the operands, or nothing when the line has been answered on standard
// output (help, version: *status is 0) or on standard error (a wrong line: 2).
std::optional<Words> operands_of(const Program& program, const Words& arguments, int& status);
// The same error for what the options themselves cannot see; returns 2.
int wrong_line(const Program& program, const std::string& why);

}  // namespace command_line
