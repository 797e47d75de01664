// The settings of print-provider.conf: their table, their defaults, and reading them from the file, which the monitor
// shares with the Print Provider. Settings of the Print Provider are stored too; unknown ones are ignored.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/format.h"
#include "common/global.h"
#include "common/util.h"

enum ConfigVarType : int32_t {
    CONFIG_VAR_IGNORED = 0,  // accepted and dropped
    CONFIG_VAR_STRING = 1,   // cut to its field
    CONFIG_VAR_INT = 2,      // 0 to 2147483647
    CONFIG_VAR_BOOL = 3,     // 1 for "on", "true" or "yes" in any letter case, else 0
    CONFIG_VAR_HANDLER = 4,  // the handler stores it
};

// Stores a value; with `reset` set, stores the default (`value` is null then).
using ConfigHandler = void (*)(int32_t reset, const CountedString* value, SessionContext* context);

struct ConfigVar {
    const char* name;  // a trailing "*" matches any suffix
    uint64_t size;     // of the field, in bytes; a text's terminator is included
    size_t field;      // its offset in SessionContext
    int32_t type;
    ConfigHandler handler;
    int32_t default_integer;
    const char* default_text;
};

constexpr size_t CONFIG_VAR_COUNT = 183;
extern const ConfigVar config_vars[];

// The version of the installed environment that is assumed without env-version.
constexpr int32_t kDefaultEnvVersion = 15;

// Stores every default in session_context. Prepares the log lock and the configuration lock, which is held meanwhile.
void config_set_defaults();
// Deletes the configuration lock when the library is unloaded.
void config_free_lock();

// The bytes that a line may have, its terminator included; a longer one is read as several.
constexpr size_t CONFIG_LINE_SIZE = 8192;

enum ConfigFile : int32_t { CONFIG_FILE_SETTINGS = 0, CONFIG_FILE_ENV_VERSION = 1 };
enum ConfigLineKind : int32_t {
    CONFIG_LINE_COMMENT = 0,  // or blank
    CONFIG_LINE_NO_EQUALS = 1,
    CONFIG_LINE_NO_NAME = 2,
    CONFIG_LINE_NO_VALUE = 3,
    CONFIG_LINE_ENTRY = 4,
};

// A line of one of the files. Name and value point into its text, which is cut at their ends; a line without an "=" or
// without a name stays as it is, and both are null.
struct ConfigLine {
    ConfigLineKind kind;
    char* name;
    char* value;
};
ConfigLine config_split_line(char* text, ConfigFile file);

// Applies the entries of a file, in their order; bad lines are reported on the standard error descriptor and
// skipped. Returns 0, or -1 when the path is empty or the file cannot be opened.
int config_parse_file(const char* path, SessionContext* context);

// Stores a value in its setting. Returns 0 when it is no number, and the setting takes one: that changes nothing.
int config_store(const ConfigVar* var, const CountedString* value, SessionContext* context);

// The same by the setting's name. Returns 1 when a setting has that name, even if it then refused the value; else 0.
int config_set_value(const CountedString* name, const CountedString* value, SessionContext* context);

// The setting of that name, or null.
const ConfigVar* config_find_var(const CountedString* name);

// 0 when the name matches a table name (see ConfigVar) or a fixed word, ignoring the case of ASCII letters.
int config_name_matches(const CountedString* name, const char* word);

// Reads the environment's version. Returns 0, or -1 when the path is empty or the file cannot be opened.
int config_load_env_version(const char* path, SessionContext* context);

// Writes a message of the parser, with its line feed, to the standard error descriptor: the log may not be set up yet.
void config_print_unchecked(const char* format, ...);
template <typename... Arguments>
void config_print(FormatString<std::type_identity_t<Arguments>...> format, Arguments... arguments) {
    config_print_unchecked(format.text, arguments...);
}
