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
    bool take_text(std::string& text) {
        if (at_end() || !words_[next_].starts_with('"')) return false;
        text = words_[next_++].substr(1);
        return true;
    }
    bool take_word(std::string& text) {
        if (at_end() || words_[next_].starts_with('"')) return false;
        text = words_[next_++];
        return true;
    }
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

bool read_step(LineReader& line, Step& step) {
    for (const char* const answer : {"OK", "DELETE", "ERROR"}) {
        if (!line.take(answer)) continue;
        step.text = answer;
        return true;
    }
    if (line.take("WAIT")) {
        step.kind = Step::Kind::wait;
        line.take_text(step.text);
        return read_duration(line, step);
    }
    if (line.take("silence")) {
        step.kind = Step::Kind::silence;
        return read_duration(line, step);
    }
    if (line.take("taken")) {
        step.kind = Step::Kind::taken;
        return true;
    }
    if (line.take("say")) {
        step.kind = Step::Kind::say;
        return line.take_text(step.text);
    }
    if (line.take("write")) {
        step.kind = Step::Kind::write;
        return read_size(line, step);
    }
    if (line.take("close")) {
        step.kind = Step::Kind::close_output;
        return line.take("output");
    }
    step.kind = line.take("rewrite") ? Step::Kind::rewrite : Step::Kind::exit;
    return step.kind == Step::Kind::rewrite || line.take("exit");
}

// "run 2: on COMMAND" up to the first step.
bool read_beginning(LineReader& line, unsigned run, bool& counts, std::string& command) {
    counts = true;
    if (line.take("run")) {
        std::uint64_t number = 0;
        std::string colon;
        if (!line.take_measure(number, colon) || colon != ":") return false;
        counts = number == run;
    }
    return line.take("on") && line.take_word(command);
}

bool read_line(LineReader& line, unsigned run, std::map<std::string, Steps>& all) {
    bool counts = true;
    std::string command;
    if (!read_beginning(line, run, counts, command)) return false;
    do {
        Step step;
        if (!read_step(line, step)) return false;
        if (counts) all[command].push_back(step);
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
    Step ok;
    ok.text = "OK";
    Step rewrite;
    rewrite.kind = Step::Kind::rewrite;
    return command == "forceattr" ? Steps{ok, rewrite} : Steps{ok};
}

}  // namespace helper
