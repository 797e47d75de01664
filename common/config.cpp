#include "common/config.h"

#include <cstdlib>
#include <cstring>

#include "common/lock.h"
#include "common/log.h"
#include "common/os.h"

namespace {

constexpr size_t kLineSize = 8192;  // a longer line is read as several

OptionalLock config_lock;

template <typename Field>
Field* field_of(SessionContext* context, const ConfigVar& var) {
    return reinterpret_cast<Field*>(reinterpret_cast<char*>(context) + var.field);
}

void apply_default(const ConfigVar& var, SessionContext* context) {
    switch (var.type) {
        case CONFIG_VAR_STRING:
            util_strncpy(field_of<char>(context, var), var.default_text, var.size);
            break;
        case CONFIG_VAR_INT:
        case CONFIG_VAR_BOOL:
            *field_of<int32_t>(context, var) = var.default_integer;
            break;
        case CONFIG_VAR_HANDLER:
            var.handler(1, nullptr, context);
            break;
        default:
            break;
    }
}

}  // namespace

void config_set_defaults() {
    log_init_lock();
    config_lock.create();
    const LockGuard lock(config_lock);
    session_context.env_version = kDefaultEnvVersion;
    for (size_t i = 0; i < CONFIG_VAR_COUNT; ++i) apply_default(config_vars[i], &session_context);
}

void config_free_lock() {
    config_lock.destroy();
}

int config_name_matches(const CountedString* name, const char* word) {
    // Compares in place; the word is neither changed nor owned.
    const auto length = static_cast<int32_t>(strlen(word));
    const CountedString counted{length + 1, length, const_cast<char*>(word)};
    const char* const star = strchr(word, '*');
    if (star == nullptr) return counted_icmp(name, &counted);
    return counted_nicmp(name, &counted, static_cast<int>(star - word));
}

// -- Values ----------------------------------------------------------------------------------------------------------

namespace {

void set_text(const ConfigVar& var, const CountedString* value, SessionContext* context) {
    char* const field = field_of<char>(context, var);
    util_strncpy(field, value->data, var.size);
    log_debug(LOG_HERE, "Config: %s set to: %s", var.name, field);
}

void set_integer(const ConfigVar& var, const CountedString* value, SessionContext* context) {
    int32_t number = 0;
    if (!util_parse_int(value->data, &number) || number < 0) {
        log_error(LOG_HERE, "Invalid value assigned to %s", var.name);
        return;
    }
    *field_of<int32_t>(context, var) = number;
    log_debug(LOG_HERE, "Config: %s set to: %ld", var.name, number);
}

void set_boolean(const ConfigVar& var, const CountedString* value, SessionContext* context) {
    const bool on = config_name_matches(value, "on") == 0 || config_name_matches(value, "true") == 0 ||
                    config_name_matches(value, "yes") == 0;
    *field_of<int32_t>(context, var) = on ? 1 : 0;
    log_debug(LOG_HERE, "Config: %s set to: %s", var.name, on ? "TRUE" : "FALSE");
}

}  // namespace

int config_set_value(const CountedString* name, const CountedString* value, SessionContext* context) {
    for (size_t i = 0; i < CONFIG_VAR_COUNT; ++i) {
        const ConfigVar& var = config_vars[i];
        if (config_name_matches(name, var.name) != 0) continue;
        switch (var.type) {
            case CONFIG_VAR_STRING:
                set_text(var, value, context);
                break;
            case CONFIG_VAR_INT:
                set_integer(var, value, context);
                break;
            case CONFIG_VAR_BOOL:
                set_boolean(var, value, context);
                break;
            case CONFIG_VAR_HANDLER:
                var.handler(0, value, context);
                break;
            default:
                break;
        }
        return 1;
    }
    return 0;
}

// -- Lines -----------------------------------------------------------------------------------------------------------

namespace {

// Space, backspace, line feed and carriage return; a tab is text.
bool is_blank(char character) {
    return character != '\0' && strchr(" \b\n\r", character) != nullptr;
}

char* skip_blanks(char* text) {
    while (is_blank(*text)) ++text;
    return text;
}

// A line up to its "=": what both files have in common.
struct Line {
    char* text;    // the line as read
    char* name;    // its first character that is not blank
    char* equals;  // null when there is none before the end of the line
    char* value;   // behind the "=" and the blanks that follow it

    bool is_comment() const { return *name == '\0' || *name == ';' || *name == '#'; }
    bool has_name() const { return equals != name; }
};

Line split_line(char* text) {
    Line line{text, skip_blanks(text), nullptr, nullptr};
    char* const end = line.name + strcspn(line.name, "=\n\r");
    if (*end == '=') {
        line.equals = end;
        line.value = skip_blanks(end + 1);
    }
    return line;
}

// Cuts the line into two texts: the name ends at the "=", the value at the first of `ends`.
void cut_line(const Line& line, const char* ends) {
    *line.equals = '\0';
    line.value[strcspn(line.value, ends)] = '\0';
}

void remove_blanks_at_end(char* text) {
    size_t length = strlen(text);
    while (length > 0 && is_blank(text[length - 1])) text[--length] = '\0';
}

void set_entry(const char* name_text, const char* value_text, int number, SessionContext* context) {
    CountedString* const name = counted_from_cstr(name_text);
    CountedString* const value = counted_from_cstr(value_text);
    if (name == nullptr || value == nullptr) {
        config_print("Out of memory at line number: %d\n", number);
    } else if (config_name_matches(name, "copyright") != 0 && !config_set_value(name, value, context) &&
               context->dev_logging != 0) {
        config_print("Ignoring config entry (%s=%s) at line: %d - invalid entry or for other OS\n", name_text,
                     value_text, number);
    }
    counted_destroy(name);
    counted_destroy(value);
}

void parse_line(char* text, int number, SessionContext* context) {
    const Line line = split_line(text);
    if (line.is_comment()) return;
    if (line.equals == nullptr) {
        util_strip_newline(line.text);
        config_print("Invalid config setting at line number: %d with line: \"%s\"\n", number, line.text);
        return;
    }
    if (!line.has_name()) {
        config_print("Invalid name in config file at line number: %d\n", number);
        return;
    }
    remove_blanks_at_end(line.value);
    cut_line(line, "\n\r");
    if (*line.value != '\0') set_entry(line.name, line.value, number, context);
}

}  // namespace

int config_parse_file(const char* path, SessionContext* context) {
    if (util_is_string_empty(path)) {
        config_print("Invalid config file path\n");
        return -1;
    }
    FILE* const file = os_fopen(path, "r");
    if (file == nullptr) {
        char cwd[260];
        if (_getcwd(cwd, sizeof cwd) == nullptr) cwd[0] = '\0';
        config_print("Failed to open config file: %s, cwd=%s\n", path, cwd);
        return -1;
    }
    char text[kLineSize];
    for (int number = 1; fgets(text, sizeof text, file) != nullptr; ++number) parse_line(text, number, context);
    fclose(file);
    return 0;
}

// -- The environment's version ---------------------------------------------------------------------------------------

namespace {

// True when the line gives the version.
bool parse_env_line(char* text, int number, SessionContext* context) {
    const Line line = split_line(text);
    if (line.is_comment()) return false;
    if (line.equals == nullptr) {
        log_error(LOG_HERE, "Invalid env version value at line number: %d", number);
        return false;
    }
    if (!line.has_name()) {
        log_error(LOG_HERE, "Invalid name in env version file at line number: %d", number);
        return false;
    }
    cut_line(line, "=\n\r");
    if (*line.value == '\0') {
        log_debug(LOG_HERE, "Empty value in env version file at line number: %d", number);
        return false;
    }
    const auto length = static_cast<int32_t>(strlen(line.name));
    const CountedString name{length + 1, length, line.name};
    if (config_name_matches(&name, "envversion") != 0) return false;
    if (*line.value < '0' || *line.value > '9') {
        log_error(LOG_HERE, "Invalid value assigned to EnvVersion");
        return false;
    }
    util_parse_int(line.value, &context->env_version);
    return true;
}

}  // namespace

int config_load_env_version(const char* path, SessionContext* context) {
    log_dev(LOG_HERE, "entering config_load_env_version");
    if (util_is_string_empty(path)) {
        log_error(LOG_HERE, "Invalid env version file path");
        return -1;
    }
    log_debug(LOG_HERE, "Parsing env version file: %s", path);
    FILE* const file = os_fopen(path, "r");
    if (file == nullptr) {
        log_error(LOG_HERE, "Failed to open env version file: %s, assuming env version: %d", path,
                  context->env_version);
        return -1;
    }
    bool found = false;
    char text[kLineSize];
    for (int number = 1; fgets(text, sizeof text, file) != nullptr; ++number) {
        if (parse_env_line(text, number, context)) found = true;
    }
    if (found) {
        log_debug(LOG_HERE, "Environment version: %d", context->env_version);
    } else {
        log_error(LOG_HERE, "No environment version found in: %s, assuming env version: %d", path,
                  context->env_version);
    }
    fclose(file);
    return 0;
}

// -- Messages --------------------------------------------------------------------------------------------------------

void config_print_unchecked(const char* format, ...) {
    constexpr int kStandardError = 2;
    constexpr const char* kPrefix = "Tessaron: ";
    va_list arguments;
    va_start(arguments, format);
    char* message = nullptr;
    if (util_vasprintf(&message, format, arguments)) {
        _write(kStandardError, kPrefix, static_cast<unsigned>(strlen(kPrefix)));
        _write(kStandardError, message, static_cast<unsigned>(strlen(message)));
    }
    va_end(arguments);
    free(message);
}
