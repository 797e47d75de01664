#include "common/config.h"

#include <cstdlib>
#include <cstring>

#include "common/lock.h"
#include "common/log.h"
#include "common/os.h"

namespace {

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

int set_integer(const ConfigVar& var, const CountedString* value, SessionContext* context) {
    int32_t number = 0;
    if (!util_parse_int(value->data, &number) || number < 0) {
        log_error(LOG_HERE, "Invalid value assigned to %s", var.name);
        return 0;
    }
    *field_of<int32_t>(context, var) = number;
    log_debug(LOG_HERE, "Config: %s set to: %ld", var.name, number);
    return 1;
}

void set_boolean(const ConfigVar& var, const CountedString* value, SessionContext* context) {
    const bool on = config_name_matches(value, "on") == 0 || config_name_matches(value, "true") == 0 ||
                    config_name_matches(value, "yes") == 0;
    *field_of<int32_t>(context, var) = on ? 1 : 0;
    log_debug(LOG_HERE, "Config: %s set to: %s", var.name, on ? "TRUE" : "FALSE");
}

}  // namespace

int config_store(const ConfigVar* var, const CountedString* value, SessionContext* context) {
    switch (var->type) {
        case CONFIG_VAR_STRING:
            set_text(*var, value, context);
            return 1;
        case CONFIG_VAR_INT:
            return set_integer(*var, value, context);
        case CONFIG_VAR_BOOL:
            set_boolean(*var, value, context);
            return 1;
        case CONFIG_VAR_HANDLER:
            var->handler(0, value, context);
            return 1;
        default:
            return 1;
    }
}

const ConfigVar* config_find_var(const CountedString* name) {
    for (size_t i = 0; i < CONFIG_VAR_COUNT; ++i) {
        if (config_name_matches(name, config_vars[i].name) == 0) return &config_vars[i];
    }
    return nullptr;
}

int config_set_value(const CountedString* name, const CountedString* value, SessionContext* context) {
    const ConfigVar* const var = config_find_var(name);
    if (var == nullptr) return 0;
    config_store(var, value, context);
    return 1;
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

void remove_blanks_at_end(char* text) {
    size_t length = strlen(text);
    while (length > 0 && is_blank(text[length - 1])) text[--length] = '\0';
}

}  // namespace

ConfigLine config_split_line(char* text, ConfigFile file) {
    char* const name = skip_blanks(text);
    if (*name == '\0' || *name == ';' || *name == '#') return {CONFIG_LINE_COMMENT, nullptr, nullptr};
    char* const equals = name + strcspn(name, "=\n\r");
    if (*equals != '=') return {CONFIG_LINE_NO_EQUALS, nullptr, nullptr};
    if (equals == name) return {CONFIG_LINE_NO_NAME, nullptr, nullptr};
    char* const value = skip_blanks(equals + 1);
    *equals = '\0';
    if (file == CONFIG_FILE_SETTINGS) remove_blanks_at_end(value);
    value[strcspn(value, file == CONFIG_FILE_SETTINGS ? "\n\r" : "=\n\r")] = '\0';
    return {*value != '\0' ? CONFIG_LINE_ENTRY : CONFIG_LINE_NO_VALUE, name, value};
}

namespace {

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
    const ConfigLine line = config_split_line(text, CONFIG_FILE_SETTINGS);
    if (line.kind == CONFIG_LINE_NO_EQUALS) {
        util_strip_newline(text);
        config_print("Invalid config setting at line number: %d with line: \"%s\"\n", number, text);
    } else if (line.kind == CONFIG_LINE_NO_NAME) {
        config_print("Invalid name in config file at line number: %d\n", number);
    } else if (line.kind == CONFIG_LINE_ENTRY) {
        set_entry(line.name, line.value, number, context);
    }
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
    char text[CONFIG_LINE_SIZE];
    for (int number = 1; fgets(text, sizeof text, file) != nullptr; ++number) parse_line(text, number, context);
    fclose(file);
    return 0;
}

// -- The environment's version ---------------------------------------------------------------------------------------

namespace {

// True when the line gives the version.
bool parse_env_line(char* text, int number, SessionContext* context) {
    const ConfigLine line = config_split_line(text, CONFIG_FILE_ENV_VERSION);
    switch (line.kind) {
        case CONFIG_LINE_NO_EQUALS:
            log_error(LOG_HERE, "Invalid env version value at line number: %d", number);
            return false;
        case CONFIG_LINE_NO_NAME:
            log_error(LOG_HERE, "Invalid name in env version file at line number: %d", number);
            return false;
        case CONFIG_LINE_NO_VALUE:
            log_debug(LOG_HERE, "Empty value in env version file at line number: %d", number);
            return false;
        case CONFIG_LINE_COMMENT:
            return false;
        case CONFIG_LINE_ENTRY:
            break;
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
    char text[CONFIG_LINE_SIZE];
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
