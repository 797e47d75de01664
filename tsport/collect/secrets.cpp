#include "tsport/collect/secrets.h"

#include <cctype>
#include <sstream>

#include "host/command_line/options.h"
#include "tsport/doctor/conf_lines.h"

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
    for (const doctor::ConfLine& line : doctor::split_conf(conf, CONFIG_FILE_SETTINGS)) {
        if (line.text.empty() || (!line.is_piece && names_setting(line.name) && !names_key(line.name))) {
            text += line.text + "\n";
            continue;
        }
        const size_t equals = line.is_piece ? std::string::npos : line.text.find('=');
        text += (equals == std::string::npos ? "" : line.text.substr(0, equals + 1)) + left_out + "\n";
        if (!may_hold_secret(line.text)) continue;
        constexpr size_t least = 4;  // shorter ones would be found everywhere
        std::istringstream values(equals == std::string::npos ? line.text : line.text.substr(equals + 1));
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
