#include "testbed/helper/script.h"

#include <algorithm>
#include <charconv>

namespace helper {
namespace {

// The words of one line, one after the other; a quoted one keeps its first quote. The first that does not fit is
// remembered.
class LineReader {
  public:
    // False when a quote is not closed.
    bool split(const std::string& line) {
        for (size_t at = 0; at < line.size() && line[at] != '#';) {
            const size_t begin = at;
            if (line[at] == '"') {
                std::string& text = words_.emplace_back(1, '"');
                for (++at; at < line.size() && line[at] != '"'; ++at) {
                    const bool escaped = line[at] == '\\' && at + 1 < line.size();
                    if (escaped) ++at;
                    text += escaped && line[at] == 'n' ? '\n' : line[at];
                }
                if (at++ == line.size()) return false;
            } else if (at = std::min(line.find_first_of(" \t\r\"#", at), line.size()); at > begin) {
                words_.push_back(line.substr(begin, at - begin));
            } else {
                ++at;
            }
        }
        return true;
    }

    bool at_end() const { return next_ == words_.size(); }
    bool take(const char* word) {
        if (at_end() || words_[next_] != word) return false;
        ++next_;
        return true;
    }
    bool take_text(std::string& text) { return take(text, true); }
    bool take_word(std::string& text) { return take(text, false); }
    // "300 ms" or "300ms": the number and the word behind it.
    bool take_measure(std::uint64_t& number, std::string& unit) {
        std::string word;
        if (!take_word(word)) return false;
        const char* const end = word.data() + word.size();
        const auto [rest, error] = std::from_chars(word.data(), end, number);
        if (error != std::errc()) return false;
        unit.assign(rest, end);
        return !unit.empty() || take_word(unit);
    }
    std::string next_word() const { return at_end() ? "the end of the line" : words_[next_]; }

  private:
    bool take(std::string& text, bool quoted) {
        if (at_end() || words_[next_].starts_with('"') != quoted) return false;
        text = words_[next_++].substr(quoted ? 1 : 0);
        return true;
    }

    std::vector<std::string> words_;
    size_t next_ = 0;
};

bool read_duration(LineReader& line, Step& step) {
    if (line.take("until")) return line.take_word(step.until);
    if (!line.take("for")) return true;
    std::uint64_t number = 0;
    std::string unit;
    if (!line.take_measure(number, unit) || (unit != "ms" && unit != "s")) return false;
    step.time = std::chrono::milliseconds(unit == "s" ? number * 1000 : number);
    return true;
}

bool read_size(LineReader& line, Step& step) {
    std::string unit;
    if (!line.take_measure(step.bytes, unit)) return false;
    if (unit == "KiB") step.bytes <<= 10;
    if (unit == "MiB") step.bytes <<= 20;
    return unit == "B" || unit == "KiB" || unit == "MiB";
}

bool read_problem(LineReader& line, Step& step) {
    line.take_text(step.text);
    return read_duration(line, step);
}

constexpr struct {
    const char* word;
    Step::Kind kind;
    bool (*read_rest)(LineReader& line, Step& step) = nullptr;
} step_forms[] = {
    {"OK", Step::Kind::answer},
    {"DELETE", Step::Kind::answer},
    {"ERROR", Step::Kind::answer},
    {"WAIT", Step::Kind::wait, read_problem},
    {"silence", Step::Kind::silence, read_duration},
    {"taken", Step::Kind::taken},
    {"say", Step::Kind::say, [](LineReader& line, Step& step) { return line.take_text(step.text); }},
    {"write", Step::Kind::write, read_size},
    {"rewrite", Step::Kind::rewrite},
    {"close", Step::Kind::close_output, [](LineReader& line, Step&) { return line.take("output"); }},
    {"exit", Step::Kind::exit},
};

bool read_step(LineReader& line, Step& step) {
    for (const auto& form : step_forms) {
        if (!line.take(form.word)) continue;
        step.kind = form.kind;
        if (step.kind == Step::Kind::answer) step.text = form.word;
        return form.read_rest == nullptr || form.read_rest(line, step);
    }
    return false;
}

bool read_line(LineReader& line, unsigned run, std::map<std::string, Steps>& all) {
    std::uint64_t number = run;  // of the run that the line counts for
    std::string command;
    if (line.take("run") && (!line.take_measure(number, command) || command != ":")) return false;
    if (!line.take("on") || !line.take_word(command)) return false;
    do {
        Step step;
        if (!read_step(line, step)) return false;
        if (number == run) all[command].push_back(step);
    } while (line.take("then"));
    return line.at_end();
}

}  // namespace

bool Script::read(std::istream& input, unsigned run, std::string& why) {
    std::string text;
    for (unsigned number = 1; std::getline(input, text); ++number) {
        LineReader line;
        if (line.split(text) && (line.at_end() || read_line(line, run, steps_))) continue;
        why = "script line " + std::to_string(number) + ": not understood at " + line.next_word();
        return false;
    }
    return true;
}

Steps Script::steps_for(const std::string& command) const {
    for (const std::string& name : {command, std::string("any")}) {
        const auto found = steps_.find(name);
        if (found != steps_.end()) return found->second;
    }
    const Step ok = {.text = "OK"};
    return command == "forceattr" ? Steps{ok, {.kind = Step::Kind::rewrite}} : Steps{ok};
}

}  // namespace helper
