#include "tsport/doctor/base.h"

#include <algorithm>
#include <cstring>
#include <map>

#include "common/config.h"
#include "common/file_names.h"
#include "common/os.h"
#include "host/text.h"
#include "tsport/file.h"
#include "tsport/ports/encoding.h"

namespace tsport::doctor {
namespace {

const std::string utf8_mark = "\xEF\xBB\xBF";

// -- Lines -----------------------------------------------------------------------------------------------------------

struct ConfLine {
    ConfigLineKind kind = CONFIG_LINE_COMMENT;
    size_t number = 0;      // as the monitor counts: each piece of a line that is too long for it counts as one
    std::string text = {};  // the whole line
    std::string name = {};  // up to the "="
    std::string value = {};
    bool cut_by_cr = false;   // a lone carriage return ends it early
    bool cut_by_nul = false;  // a NUL byte does
    bool is_piece = false;    // of a line that is longer than the monitor's buffer
};

ConfLine parse_line(std::string text, size_t number, ConfigFile file) {
    ConfLine line{.number = number, .cut_by_nul = text.find('\0') != std::string::npos};
    text.resize(std::strlen(text.c_str()));
    line.text = text.substr(0, text.find_last_not_of("\r\n") + 1);
    line.cut_by_cr = line.text.find('\r') != std::string::npos;
    const ConfigLine parts = config_split_line(text.data(), file);
    line.kind = parts.kind;
    if (parts.name != nullptr) line.name = parts.name;
    if (parts.value != nullptr) line.value = parts.value;
    return line;
}

// Up to a Ctrl-Z, which ends a text for the monitor.
std::vector<ConfLine> lines_of(const std::string& bytes, ConfigFile file) {
    constexpr size_t longest_piece = CONFIG_LINE_SIZE - 1;  // with its line feed
    const size_t end = std::min(bytes.find('\x1A'), bytes.size());
    std::string text;
    for (size_t i = 0; i < end; ++i) {
        if (bytes.compare(i, 2, "\r\n") != 0) text += bytes[i];
    }
    std::vector<ConfLine> lines;
    bool within_line = false;
    for (size_t begin = 0; begin < text.size();) {
        const size_t rest = std::min(text.find('\n', begin), text.size() - 1) + 1 - begin;
        const size_t size = std::min(rest, longest_piece);
        lines.push_back(parse_line(text.substr(begin, size), lines.size() + 1, file));
        lines.back().is_piece = within_line || size < rest;
        within_line = size < rest;
        begin += size;
    }
    return lines;
}

// -- The settings' table ---------------------------------------------------------------------------------------------

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
    command_line::Words names;
    for (size_t i = 0; i < CONFIG_VAR_COUNT; ++i) names.push_back(lower(config_vars[i].name));
    const std::string hint = command_line::did_you_mean(lower(name), names);
    const std::string before = "; did you mean ";  // and "?" behind the name
    return hint.empty() ? "" : find_setting(hint.substr(before.size(), hint.size() - before.size() - 1))->name;
}

// -- The file as a whole ---------------------------------------------------------------------------------------------

// True when its lines can be looked at.
bool check_encoding(const std::string& bytes, Findings& findings) {
    const std::string mark = bytes.substr(0, 2);
    if (mark == "\xFF\xFE" || mark == "\xFE\xFF") {
        findings.add("conf.utf16", "print-provider.conf is UTF-16");
        return false;
    }
    if (bytes.starts_with(utf8_mark)) {
        findings.add("conf.utf8-mark", "print-provider.conf begins with a byte order mark");
    }
    Encoding encoding;
    host::Text text;
    Fault fault;
    std::string plain = bytes;
    std::erase(plain, '\r');  // one that ends no line has a finding of its own
    const size_t ctrl_z = bytes.find('\x1A');
    if (ctrl_z != std::string::npos) {
        const auto line = std::count(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(ctrl_z), '\n') + 1;
        findings.add("conf.ctrl-z", "line " + std::to_string(line) + " has a Ctrl-Z (byte 1A)");
    } else if (bytes.find('\0') == std::string::npos && !decode(plain, encoding, text, fault)) {
        findings.add("conf.not-utf8", "line " + std::to_string(fault.line) + ": " + fault.why);
    }
    return true;
}

// -- Entries ---------------------------------------------------------------------------------------------------------

class ConfReader {
  public:
    ConfReader(SessionContext& values, Findings& findings) : values_(values), findings_(findings) {}

    void read(const ConfLine& line) {
        check_shape(line);
        if (line.kind != CONFIG_LINE_ENTRY || same_word(line.name, "copyright")) return;
        const ConfigVar* const setting = find_setting(line.name);
        if (setting != nullptr) {
            apply(line, *setting);
        } else if (!line.name.starts_with(utf8_mark)) {  // the mark has a finding of its own
            unknown(line);
        }
    }
    size_t count() const { return last_.size(); }

  private:
    void add(const char* id, const ConfLine& line, const std::string& what) {
        findings_.add(id, "line " + std::to_string(line.number) + what);
    }

    void check_shape(const ConfLine& line) {
        const std::string text = ": " + shown_text(line.text);
        if (line.is_piece) {
            if (!within_long_line_) add("conf.long-line", line, " is longer than 8191 bytes");
        } else if (line.cut_by_nul) {
            add("conf.nul-byte", line, " has a NUL byte" + text);
        } else if (line.cut_by_cr) {
            add("conf.lone-cr", line, " has a carriage return without a line feed" + text);
        } else if (line.kind == CONFIG_LINE_NO_EQUALS && !line.text.starts_with(utf8_mark)) {
            add("conf.no-equals", line, " is not Name=value" + text);
        } else if (line.kind == CONFIG_LINE_NO_NAME) {
            add("conf.no-name", line, " has no name before the \"=\"" + text);
        }
        within_long_line_ = line.is_piece;
    }

    void unknown(const ConfLine& line) {
        const size_t begin = std::min(line.name.find_first_not_of(" \t"), line.name.size());
        const std::string trimmed = line.name.substr(begin, line.name.find_last_not_of(" \t") + 1 - begin);
        if (find_setting(trimmed) != nullptr) {
            return add("conf.blank-beside-name", line,
                       ": a blank or a tab next to the name; write " + trimmed + "=" + line.value);
        }
        const std::string nearest = nearest_setting(trimmed);
        add("conf.unknown-name", line,
            ": " + shown_text(line.name) + " is not a setting" +
                (nearest.empty() ? "" : "; did you mean " + nearest + "=" + line.value));
    }

    void apply(const ConfLine& line, const ConfigVar& setting) {
        const CountedString counted_value = lent(line.value);
        const bool taken = config_store(&setting, &counted_value, &values_) != 0;
        if (setting.type == CONFIG_VAR_IGNORED) return;
        check_value(line, setting, taken);
        if (!taken) return;
        const auto [last, is_first] = last_.try_emplace(&setting, line);
        if (!is_first && last->second.value != line.value) {
            add("conf.overridden", last->second,
                ", " + shown_text(last->second.text) + ", is overridden by line " + std::to_string(line.number) + ", " +
                    shown_text(line.text));
        }
        last->second = line;
    }

    void check_value(const ConfLine& line, const ConfigVar& setting, bool taken) {
        const std::string& value = line.value;
        const std::string name = setting.name;
        if (setting.type == CONFIG_VAR_INT || name == "CheckHeldJobMillis") {
            std::int32_t number = 0;
            const bool is_number = setting.type == CONFIG_VAR_INT ? taken && is_whole_number(value)
                                                                  : util_parse_int(value.c_str(), &number) != 0;
            if (!is_number) add("conf.bad-number", line, ": " + name + " is a number, not " + shown_text(value));
        } else if (setting.type == CONFIG_VAR_BOOL) {
            if (!is_off(value) && !same_word(value, "on") && !same_word(value, "true") && !same_word(value, "yes")) {
                add("conf.bad-switch", line, ": " + name + "=" + value + " means off");
            }
        } else if (setting.type == CONFIG_VAR_STRING || name == "ServerName") {
            if (value.size() < setting.size) return;
            add("conf.cut-value", line,
                ": the value of " + name + " has " + std::to_string(value.size()) + " bytes, the limit is " +
                    std::to_string(setting.size - 1));
        } else if (const std::string words = words_instead(value, setting); !words.empty()) {
            add("conf.bad-word", line, ": " + name + " is " + words + ", not " + shown_text(value));
        }
    }

    static bool is_off(const std::string& value) {
        return same_word(value, "off") || same_word(value, "false") || same_word(value, "no") || value == "0";
    }

    // "10 # files" counts as 10.
    static bool is_whole_number(const std::string& value) {
        const std::string digits = value.substr(0, value.find_first_of(" \t#;"));
        return !digits.empty() && std::all_of(digits.begin() + (digits[0] == '+' ? 1 : 0), digits.end(),
                                              [](char c) { return c >= '0' && c <= '9'; });
    }

    // The words that a setting takes when the monitor's own handler refuses the value; else "".
    static const char* words_instead(const std::string& value, const ConfigVar& setting) {
        const auto trial = std::make_unique<SessionContext>();
        const CountedString counted_value = lent(value);
        trial->error_poll_method = -1;
        setting.handler(0, &counted_value, trial.get());
        if (same_word(setting.name, "Debug")) {
            return trial->debug_logging == 0 && !is_off(value) ? "on, dev or off" : "";
        }
        if (same_word(setting.name, "ErrorPollMethod")) {
            return trial->error_poll_method == -1 ? "os, snmp, snmpdontsetos or both" : "";
        }
        const char* const version = trial->tls_min_protocol_version != nullptr ? trial->tls_min_protocol_version
                                                                               : trial->tls_max_protocol_version;
        return version == nullptr || same_word(value, version) ? "" : "TLSv1.0, TLSv1.1, TLSv1.2 or TLSv1.3";
    }

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

void read_conf(const std::string& bytes, Settings& settings, Findings& findings) {
    settings.read = true;
    const bool readable = check_encoding(bytes, findings);
    Findings nothing;
    ConfReader reader(*settings.values, readable ? findings : nothing);
    for (const ConfLine& line : lines_of(bytes, CONFIG_FILE_SETTINGS)) reader.read(line);
    if (readable) findings.saw("conf", "print-provider.conf: " + counted(reader.count(), "setting"));
}

void read_env_version(const std::string& bytes, Settings& settings, Findings& findings) {
    bool found = false;
    std::string refused;
    for (const ConfLine& line : lines_of(bytes, CONFIG_FILE_ENV_VERSION)) {
        if (line.kind != CONFIG_LINE_ENTRY || !same_word(line.name, "envversion")) continue;
        if (line.value[0] >= '0' && line.value[0] <= '9') {
            util_parse_int(line.value.c_str(), &settings.values->env_version);
            found = true;
        } else {
            refused = ", line " + std::to_string(line.number) + ": " + shown_text(line.text);
        }
    }
    if (!found || !refused.empty()) findings.add("env.no-version", "env-version gives no version" + refused);
}

// -- A base directory ------------------------------------------------------------------------------------------------

namespace {

// False when the file cannot be read, which is a finding then.
bool read_settings_file(const std::string& base, const std::string& name, const char* missing_id,
                        const char* unreadable_id, std::string& bytes, Findings& findings) {
    const std::string path = path_in(base, name);
    std::string why;
    if (exists(path) && read_file(path, bytes, why)) return true;
    findings.add(exists(path) ? unreadable_id : missing_id, exists(path) ? why : name + " does not exist");
    return false;
}

void check_modes(const SessionContext& values, Findings& findings) {
    const auto check = [&](const std::string& name, std::int32_t on, std::int32_t least_version) {
        if (on == 0 || values.env_version >= least_version) return;
        findings.add("env.too-old", name + " is on, and needs version " + std::to_string(least_version) +
                                        "; the environment's version is " + std::to_string(values.env_version));
    };
    check("DirectPrintingMode", values.direct_printing_mode, 13);
    check("ServerlessPrintingMode", values.serverless_printing_mode, 14);
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
    SessionContext& values = *settings.values;
    util_strncpy(values.base_dir_path, base.c_str(), sizeof values.base_dir_path);
    std::string bytes;
    if (!read_settings_file(base, kSettingsFileName, "conf.missing", "conf.unreadable", bytes, findings))
        return settings;
    read_conf(bytes, settings, findings);
    if (read_settings_file(base, kEnvVersionFileName, "env.missing", "env.unreadable", bytes, findings)) {
        read_env_version(bytes, settings, findings);
    }
    config_apply_mode_rules(&values);
    check_modes(values, findings);
    findings.saw("env", "version " + std::to_string(values.env_version));
    derive_directories(values);
    return settings;
}

}  // namespace tsport::doctor
