#include "tsport/collect/secrets.h"

#include <cctype>
#include <sstream>

#include "common/config.h"
#include "host/command_line/options.h"

namespace tsport {
namespace {

const char left_out[] = "(left out)";
const char key_setting[] = "ApplicationServerApiKey";
const char key_in_log[] = "app_server_api_key: ";

CountedString counted(const std::string& text) {
    return {0, static_cast<int32_t>(text.size()), const_cast<char*>(text.data())};
}

bool names_setting(const std::string& word) {
    const CountedString name = counted(word);
    return config_find_var(&name) != nullptr;
}

bool names_key(const std::string& word) {
    const CountedString name = counted(word);
    return config_name_matches(&name, key_setting) == 0;
}

// By its words, or because its first one is close to the key's name.
bool may_hold_secret(const std::string& line) {
    std::string lower;
    for (const char c : line) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (const char* const word : {"key", "pass", "pwd", "secret", "token", "credential"}) {
        if (lower.find(word) != std::string::npos) return true;
    }
    const size_t begin = line.find_first_not_of("#; ");
    const std::string first =
        begin == std::string::npos ? "" : line.substr(begin, line.find_first_of("= ", begin) - begin);
    return !command_line::did_you_mean(first, {key_setting}).empty();
}

// Leaves out each place that begins as the secret does: messages cut long texts.
void leave_out(std::string& text, const std::string& secret) {
    const std::string beginning = secret.substr(0, 8);
    for (size_t at = text.find(beginning); at != std::string::npos; at = text.find(beginning, at)) {
        size_t length = beginning.size();
        while (length < secret.size() && at + length < text.size() && text[at + length] == secret[length]) ++length;
        text.replace(at, length, left_out);
        at += sizeof left_out - 1;
    }
}

// As JSON writes it.
std::string escaped(const std::string& value) {
    std::string text;
    for (const char c : value) text += c == '"' || c == '\\' ? std::string{'\\', c} : std::string(1, c);
    return text;
}

}  // namespace

std::string Secrets::without(const std::string& conf) {
    std::string text;
    std::istringstream lines(conf);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        const size_t equals = line.find('=');
        const std::string name = line.substr(0, equals);
        // A line that is too long for the monitor is none that it knows.
        const bool known = equals != std::string::npos && names_setting(name) && line.size() < CONFIG_LINE_SIZE;
        if (line.empty() || (known && !names_key(name))) {
            text += line + "\n";
            continue;
        }
        text += (equals == std::string::npos ? "" : name + "=") + left_out + "\n";
        if (!may_hold_secret(line)) continue;
        constexpr size_t least = 4;  // shorter ones would be found everywhere
        std::istringstream values(equals == std::string::npos ? line : line.substr(equals + 1));
        for (std::string word; values >> word;) {
            if (word.size() >= least && !names_setting(word)) values_.insert(word);
        }
    }
    return text;
}

std::string Secrets::remove_from(std::string text) const {
    for (size_t at = text.find(key_in_log); at != std::string::npos; at = text.find(key_in_log, at + 1)) {
        const size_t value = at + sizeof key_in_log - 1;
        text.replace(value, text.find_first_of("\r\n", value) - value, left_out);
    }
    for (const std::string& value : values_) {
        leave_out(text, value);
        if (escaped(value) != value) leave_out(text, escaped(value));
    }
    return text;
}

}  // namespace tsport
