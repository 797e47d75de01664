#include "host/command_line/options.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace command_line {

bool parse_number(const std::string& text, std::uint64_t least, std::uint64_t most, std::uint64_t& number) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end && number >= least && number <= most;
}

Option flag(const std::string& name, bool& target) {
    return {name, "", [&target](const std::string&) {
                target = true;
                return std::string();
            }};
}

Option text(const std::string& name, const std::string& value, std::string& target) {
    return {name, value, [&target, name](const std::string& given) {
                target = given;
                return given.empty() ? name + " has an empty value" : std::string();
            }};
}

Option texts(const std::string& name, const std::string& value, Words& target) {
    return {name, value, [&target, name](const std::string& given) {
                target.push_back(given);
                return given.empty() ? name + " has an empty value" : std::string();
            }};
}

Option number(const std::string& name, std::uint64_t least, std::uint64_t most, std::uint64_t& target) {
    return {name, "N", [=, &target](const std::string& given) {
                if (parse_number(given, least, most, target)) return std::string();
                return name + " takes a number from " + std::to_string(least) + " to " + std::to_string(most) +
                       ", not \"" + given + "\"";
            }};
}

const Option* find_option(const Options& options, const std::string& name) {
    const auto found = std::find_if(options.begin(), options.end(), [&](const Option& o) { return o.name == name; });
    return found != options.end() ? &*found : nullptr;
}

// -- Parsing ---------------------------------------------------------------------------------------------------------

namespace {

// "-1" and "-" are none.
bool is_option(const std::string& argument) {
    return argument.size() > 1 && argument[0] == '-' && (argument[1] == '-' || (argument[1] | 0x20) >= 'a');
}

Words names_of(const Options& options) {
    Words names = {"--help", "--version"};
    for (const Option& option : options) names.push_back(option.name);
    return names;
}

// argument[index] is an option; leaves `index` at its value when that is an argument of its own.
bool take_option(const Words& arguments, size_t& index, const Options& options, ParsedLine& line, std::string& why) {
    const std::string& argument = arguments[index];
    const size_t equals = argument.find('=');
    const std::string name = argument.substr(0, equals);
    const Option* const option = find_option(options, name);
    if (option == nullptr) {
        why = "unknown option " + name + did_you_mean(name, names_of(options));
        return false;
    }
    std::string value = equals != std::string::npos ? argument.substr(equals + 1) : "";
    if (option->value.empty()) {
        if (equals != std::string::npos) {
            why = name + " takes no value";
            return false;
        }
    } else if (equals == std::string::npos) {
        if (index + 1 == arguments.size()) {
            why = name + " needs a value: " + name + " " + option->value;
            return false;
        }
        value = arguments[++index];
    }
    line.given.emplace_back(option, value);
    return true;
}

}  // namespace

bool split(const Words& arguments, const Options& options, ParsedLine& line, std::string& why) {
    bool ended = false;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (!ended && argument == "--") {
            ended = true;
        } else if (!ended && (argument == "-h" || argument == "--help" || argument == "/?")) {
            line.help = true;
        } else if (!ended && argument == "--version") {
            line.version = true;
        } else if (ended || !is_option(argument)) {
            line.words.push_back(argument);
        } else if (!take_option(arguments, i, options, line, why)) {
            return false;
        }
    }
    return true;
}

bool take(const ParsedLine& line, std::string& why) {
    for (const auto& [option, value] : line.given) {
        why = option->take(value);
        if (!why.empty()) return false;
    }
    return true;
}

// -- The nearest word ------------------------------------------------------------------------------------------------

namespace {

// Insertions, deletions, replacements and swaps of neighbours that turn one word into the other.
size_t distance(const std::string& from, const std::string& to) {
    std::vector<std::vector<size_t>> cost(from.size() + 1, std::vector<size_t>(to.size() + 1));
    for (size_t i = 0; i <= from.size(); ++i) {
        for (size_t j = 0; j <= to.size(); ++j) {
            if (i == 0 || j == 0) {
                cost[i][j] = i + j;
                continue;
            }
            cost[i][j] = std::min(
                {cost[i - 1][j] + 1, cost[i][j - 1] + 1, cost[i - 1][j - 1] + (from[i - 1] == to[j - 1] ? 0u : 1u)});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
            }
        }
    }
    return cost[from.size()][to.size()];
}

}  // namespace

std::string did_you_mean(const std::string& word, const Words& known) {
    constexpr size_t longest = 40;  // nobody mistypes more than that
    std::string best;
    size_t least = std::max<size_t>(1, std::min<size_t>(word.size(), longest) / 3) + 1;
    for (const std::string& candidate : known) {
        const size_t cost = word.size() <= longest ? distance(word, candidate) : least;
        if (cost >= least) continue;
        least = cost;
        best = candidate;
    }
    return best.empty() ? "" : "; did you mean " + best + "?";
}

// -- Programs without verbs ------------------------------------------------------------------------------------------

const char* version() {
    return PROGRAM_VERSION;
}

std::optional<Words> operands_of(const Program& program, const Words& arguments, int& status) {
    ParsedLine line;
    std::string why;
    const bool understood = split(arguments, program.options, line, why);
    status = 0;
    if (understood && (line.help || line.words == Words{"help"})) {
        std::fputs(program.usage, stdout);
    } else if (understood && line.version) {
        std::printf("%s %s\n", program.name, version());
    } else if (understood && take(line, why)) {
        return line.words;
    } else {
        status = wrong_line(program, why);
    }
    return std::nullopt;
}

int wrong_line(const Program& program, const std::string& why) {
    std::fprintf(stderr, "%s: %s\nTry %s --help.\n", program.name, why.c_str(), program.name);
    return 2;
}

}  // namespace command_line
