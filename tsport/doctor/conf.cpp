#include "tsport/doctor/conf.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>

#include "common/config.h"
#include "common/file_names.h"
#include "common/os.h"
#include "host/text.h"
#include "tsport/doctor/conf_lines.h"
#include "tsport/file.h"
#include "tsport/ports/encoding.h"

namespace tsport::doctor {
namespace {

const char restart[] = "; then restart the spooler (net stop spooler /y, net start spooler)";

bool same_word(const std::string& left, const char* right) {
    return util_strieq(left.c_str(), right) != 0;
}

// A counted string over borrowed text.
CountedString lent(const std::string& text) {
    const auto length = static_cast<std::int32_t>(text.size());
    return {length + 1, length, const_cast<char*>(text.c_str())};
}

const ConfigVar* find_setting(const std::string& name) {
    const CountedString counted_name = lent(name);
    return config_find_var(&counted_name);
}

std::string nearest_setting(const std::string& name) {
    command_line::Words lower;
    std::map<std::string, std::string> spelling;
    const auto in_lower_case = [](std::string text) {
        for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 'a' - 'A') : c;
        return text;
    };
    for (size_t i = 0; i < CONFIG_VAR_COUNT; ++i) {
        lower.push_back(in_lower_case(config_vars[i].name));
        spelling[lower.back()] = config_vars[i].name;
    }
    std::string hint = command_line::did_you_mean(in_lower_case(name), lower);
    for (const auto& [low, name_of] : spelling) {
        if (hint == "; did you mean " + low + "?") return name_of;
    }
    return "";
}

std::string without_blanks_around(const std::string& text) {
    const size_t begin = text.find_first_not_of(" \t");
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
}

// -- The file as a whole ---------------------------------------------------------------------------------------------

// True when its lines can be looked at.
bool check_encoding(const std::string& bytes, const std::string& path, Findings& findings) {
    const std::string save = "save " + path + " as UTF-8 without a byte order mark";
    const std::string mark = bytes.substr(0, 2);
    if (mark == "\xFF\xFE" || mark == "\xFE\xFF") {
        findings.add("conf.utf16", path + " is UTF-16", save + restart);
        return false;
    }
    if (bytes.rfind("\xEF\xBB\xBF", 0) == 0) {
        findings.add("conf.utf8-mark", path + " begins with a byte order mark", save + restart);
    }
    Encoding encoding;
    host::Text text;
    Fault fault;
    std::string plain = bytes;
    std::erase(plain, '\r');  // one that ends no line has a finding of its own
    const size_t ctrl_z = bytes.find('\x1A');
    if (ctrl_z != std::string::npos) {
        const auto line = std::count(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(ctrl_z), '\n') + 1;
        findings.add("conf.ctrl-z", "line " + std::to_string(line) + " of " + path + " has a Ctrl-Z (byte 1A)",
                     "take the byte out, with what stands behind it if that is not wanted" + std::string(restart));
    } else if (bytes.find('\0') == std::string::npos && !decode(plain, encoding, text, fault)) {
        findings.add("conf.not-utf8", "line " + std::to_string(fault.line) + " of " + path + ": " + fault.why,
                     save + restart);
    }
    return true;
}

// -- Entries ---------------------------------------------------------------------------------------------------------

class ConfReader {
  public:
    ConfReader(const std::string& path, SessionContext& values, Findings& findings)
        : path_(path), values_(values), findings_(findings) {}

    void read(const ConfLine& line) {
        check_shape(line);
        if (line.kind != CONFIG_LINE_ENTRY || same_word(line.name, "copyright")) return;
        const ConfigVar* const setting = find_setting(line.name);
        if (setting != nullptr) {
            apply(line, *setting);
        } else if (line.name.rfind("\xEF\xBB\xBF", 0) != 0) {  // the mark has a finding of its own
            unknown(line);
        }
    }
    size_t count() const { return last_.size(); }

  private:
    std::string at(const ConfLine& line) const { return "line " + std::to_string(line.number); }
    std::string in_file(const ConfLine& line) const { return at(line) + " of " + path_; }

    void check_shape(const ConfLine& line) {
        const bool has_mark = line.text.rfind("\xEF\xBB\xBF", 0) == 0;
        if (line.is_piece) {
            if (!within_long_line_) {
                findings_.add("conf.long-line", at(line) + " is longer than 8191 bytes",
                              "shorten " + in_file(line) + restart);
            }
        } else if (line.cut_by_nul) {
            findings_.add("conf.nul-byte", at(line) + " has a NUL byte: " + shown_text(line.text),
                          "take the byte out of " + in_file(line) + restart);
        } else if (line.cut_by_cr) {
            findings_.add("conf.lone-cr",
                          at(line) + " has a carriage return that ends no line: " + shown_text(line.text),
                          "save " + path_ + " with the line ends of Windows or Unix" + restart);
        } else if (line.kind == CONFIG_LINE_NO_EQUALS && !has_mark) {
            findings_.add("conf.no-equals", at(line) + " is no Name=value: " + shown_text(line.text),
                          "write the \"=\" into " + in_file(line) + ", or # before a comment" + restart);
        } else if (line.kind == CONFIG_LINE_NO_NAME) {
            findings_.add("conf.no-name", at(line) + " has no name before the \"=\": " + shown_text(line.text),
                          "write the setting's name into " + in_file(line) + restart);
        }
        within_long_line_ = line.is_piece;
    }

    void unknown(const ConfLine& line) {
        const std::string trimmed = without_blanks_around(line.name);
        const ConfigVar* const meant = find_setting(trimmed);
        if (meant != nullptr) {
            findings_.add("conf.blank-beside-name", at(line) + ": a blank or a tab stands beside the name " + trimmed,
                          "write " + trimmed + "=" + line.value + " as " + in_file(line) + restart);
            return;
        }
        const std::string nearest = nearest_setting(trimmed);
        findings_.add("conf.unknown-name",
                      at(line) + ": " + shown_text(line.name) + " is no setting" +
                          (nearest.empty() ? "" : "; the nearest is " + nearest),
                      (nearest.empty() ? "correct or delete " : "write " + nearest + "=" + line.value + " as ") +
                          in_file(line) + restart);
    }

    void apply(const ConfLine& line, const ConfigVar& setting) {
        const CountedString counted_value = lent(line.value);
        const bool taken = config_store(&setting, &counted_value, &values_) != 0;
        const std::string wrong = value_fault(line, setting, taken);
        const std::string name = setting.name;
        if (setting.type == CONFIG_VAR_IGNORED) return;
        if (wrong == "conf.bad-number") {
            findings_.add(wrong, at(line) + ": " + name + " is a number, not " + shown_text(line.value),
                          "write a whole number, 0 or more, into " + in_file(line) + restart);
            if (!taken) return;
        }
        if (wrong == "conf.bad-switch") {
            findings_.add(wrong, at(line) + ": " + name + "=" + line.value + " means off",
                          "write " + name + "=on or " + name + "=off as " + in_file(line) + restart);
        } else if (wrong == "conf.bad-word") {
            findings_.add(wrong, at(line) + ": " + name + " does not take " + shown_text(line.value),
                          std::string("write ") + words_for(setting) + " into " + in_file(line) + restart);
        } else if (wrong == "conf.cut-value") {
            findings_.add(wrong,
                          at(line) + ": the value of " + name + " has " + std::to_string(line.value.size()) +
                              " bytes, the limit is " + std::to_string(setting.size - 1),
                          "shorten the value in " + in_file(line) + restart);
        }
        override_earlier(line, setting);
    }

    void override_earlier(const ConfLine& line, const ConfigVar& setting) {
        const auto [last, is_first] = last_.try_emplace(&setting, line);
        if (is_first) return;
        if (last->second.value != line.value) {
            findings_.add("conf.overridden",
                          at(last->second) + ", " + shown_text(last->second.text) + ", is overridden by " + at(line) +
                              ", " + shown_text(line.text),
                          "delete the one that is not wanted in " + path_ + restart);
        }
        last->second = line;
    }

    // The finding that the value deserves, or nothing.
    std::string value_fault(const ConfLine& line, const ConfigVar& setting, bool taken) const {
        const std::string& value = line.value;
        const auto is_one_of = [&](std::initializer_list<const char*> words) {
            return std::any_of(words.begin(), words.end(), [&](const char* word) { return same_word(value, word); });
        };
        switch (setting.type) {
            case CONFIG_VAR_INT:
                return taken && is_whole_number(value) ? "" : "conf.bad-number";
            case CONFIG_VAR_BOOL:
                return is_one_of({"on", "true", "yes", "off", "false", "no", "0"}) ? "" : "conf.bad-switch";
            case CONFIG_VAR_STRING:
                return value.size() < setting.size ? "" : "conf.cut-value";
            case CONFIG_VAR_HANDLER:
                return handled_value_fault(value, setting);
            default:
                return "";
        }
    }

    static const char* words_for(const ConfigVar& setting) {
        if (same_word(setting.name, "Debug")) return "on, dev or off";
        if (same_word(setting.name, "ErrorPollMethod")) return "os, snmp, snmpdontsetos or both";
        return "TLSv1.0, TLSv1.1, TLSv1.2 or TLSv1.3";
    }

    // "10 # files" counts as 10.
    static bool is_whole_number(const std::string& value) {
        const std::string digits = value.substr(0, value.find_first_of(" \t#;"));
        return !digits.empty() && std::all_of(digits.begin() + (digits[0] == '+' ? 1 : 0), digits.end(),
                                              [](char c) { return c >= '0' && c <= '9'; });
    }

    // A handler has refused a value when a setting that it would have changed stays as it was.
    static std::string handled_value_fault(const std::string& value, const ConfigVar& setting) {
        const auto trial = std::make_unique<SessionContext>();
        const CountedString counted_value = lent(value);
        const bool is_debug = same_word(setting.name, "Debug");
        trial->error_poll_method = -1;
        setting.handler(0, &counted_value, trial.get());
        if (same_word(setting.name, "ErrorPollMethod")) return trial->error_poll_method == -1 ? "conf.bad-word" : "";
        if (same_word(setting.name, "ServerName")) return value.size() < setting.size ? "" : "conf.cut-value";
        if (same_word(setting.name, "CheckHeldJobMillis")) {
            std::int32_t number = 0;
            return util_parse_int(value.c_str(), &number) != 0 ? "" : "conf.bad-number";
        }
        const char* const version = trial->tls_min_protocol_version != nullptr ? trial->tls_min_protocol_version
                                                                               : trial->tls_max_protocol_version;
        if (version != nullptr) return same_word(value, version) ? "" : "conf.bad-word";
        const bool is_off =
            same_word(value, "off") || same_word(value, "false") || same_word(value, "no") || value == "0";
        return is_debug && trial->debug_logging == 0 && !is_off ? "conf.bad-word" : "";
    }

    const std::string& path_;
    SessionContext& values_;
    Findings& findings_;
    std::map<const ConfigVar*, ConfLine> last_;
    bool within_long_line_ = false;
};

}  // namespace

Settings::Settings() {
    config_set_defaults();
    values = std::make_unique<SessionContext>(session_context);
}

void read_conf(const std::string& bytes, const std::string& path, Settings& settings, Findings& findings) {
    settings.read = true;
    const bool readable = check_encoding(bytes, path, findings);
    Findings nothing;
    ConfReader reader(path, *settings.values, readable ? findings : nothing);
    for (const ConfLine& line : split_conf(bytes, CONFIG_FILE_SETTINGS)) reader.read(line);
    if (readable) findings.saw("conf", path + ": " + counted(reader.count(), "setting"));
}

void read_env_version(const std::string& bytes, const std::string& path, Settings& settings, Findings& findings) {
    bool found = false;
    std::string refused;
    for (const ConfLine& line : split_conf(bytes, CONFIG_FILE_ENV_VERSION)) {
        if (line.kind != CONFIG_LINE_ENTRY || !same_word(line.name, "envversion")) continue;
        if (line.value[0] >= '0' && line.value[0] <= '9') {
            util_parse_int(line.value.c_str(), &settings.values->env_version);
            found = true;
        } else {
            refused = ", line " + std::to_string(line.number) + ": " + shown_text(line.text);
        }
    }
    if (!found || !refused.empty()) {
        findings.add("env.no-version", path + " gives no version" + refused,
                     "repair the installation of the Print Provider, which writes this file");
    }
}

// -- A base directory ------------------------------------------------------------------------------------------------

namespace {

void check_env_version(const std::string& base, Settings& settings, Findings& findings) {
    const std::string path = path_in(base, kEnvVersionFileName);
    std::string bytes;
    std::string why;
    std::error_code error;
    if (!std::filesystem::exists(host::path_of(path), error)) {
        findings.add("env.missing", path + " does not exist",
                     "repair the installation of the Print Provider, which writes this file");
    } else if (!read_file(path, bytes, why)) {
        findings.add("env.unreadable", why, "let the system account read " + path);
    } else {
        read_env_version(bytes, path, settings, findings);
    }
    SessionContext& values = *settings.values;
    config_apply_mode_rules(&values);
    const auto check_mode = [&](const char* name, std::int32_t on, std::int32_t least) {
        if (on == 0 || values.env_version >= least) return;
        findings.add("env.too-old",
                     std::string(name) + " is on, and the environment's version is " +
                         std::to_string(values.env_version) + ", not at least " + std::to_string(least),
                     "update the Print Provider, or switch " + std::string(name) + " off in print-provider.conf");
    };
    check_mode("DirectPrintingMode", values.direct_printing_mode, 13);
    check_mode("ServerlessPrintingMode", values.serverless_printing_mode, 14);
    findings.saw("env", "version " + std::to_string(values.env_version));
}

// Those that the monitor itself works with.
void derive_directories(SessionContext& values) {
    const auto derive = [](char(&field)[1024], const char* parent, const char* name) {
        if (field[0] == '\0') os_cat_path(field, sizeof field, parent, name);
    };
    derive(values.spool_dir_path, values.base_dir_path, "spool");
    config_set_spool_subdirs(&values);
    derive(values.settings_spool_dir_path, values.spool_dir_path, "settings");
    derive(values.notapproved_jobs_spool_dir_path, values.spool_dir_path, "notapprovedjobs");
}

}  // namespace

Settings check_settings(const std::string& base, Findings& findings) {
    Settings settings;
    util_strncpy(settings.values->base_dir_path, base.c_str(), sizeof settings.values->base_dir_path);
    const std::string path = path_in(base, kSettingsFileName);
    std::string bytes;
    std::string why;
    std::error_code error;
    if (!std::filesystem::exists(host::path_of(path), error)) {
        findings.add("conf.missing", path + " does not exist",
                     "repair the installation of the Print Provider, or create the file, empty" + std::string(restart));
        return settings;
    }
    if (!read_file(path, bytes, why)) {
        findings.add("conf.unreadable", why, "let the system account read " + path + restart);
        return settings;
    }
    read_conf(bytes, path, settings, findings);
    check_env_version(base, settings, findings);
    derive_directories(*settings.values);
    return settings;
}

}  // namespace tsport::doctor
