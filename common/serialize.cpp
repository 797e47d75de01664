#include "common/serialize.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "common/log.h"
#include "common/os.h"
#include "common/util.h"

namespace {

constexpr size_t kLineSize = 1024;
constexpr size_t kSpareInLine = 128;  // of a string field's line buffer, beyond its key and its value
constexpr const char* kMagic = "# TS Serialize Data";
constexpr const char* kTerminator = "#END";

SerializeStore* new_store(const char* path, int32_t writing) {
    auto* const store = static_cast<SerializeStore*>(malloc(sizeof(SerializeStore)));
    if (store != nullptr) *store = SerializeStore{path, nullptr, writing};
    return store;
}

// Writes a whole text; the stream is flushed so that a full disk shows here.
bool put(SerializeStore* store, const char* text) {
    return fputs(text, store->stream) >= 0 && fflush(store->stream) == 0;
}

bool write_magic(SerializeStore* store) {
    return fputs(kMagic, store->stream) >= 0 && put(store, "\n");
}

// Reads the next field line and splits it; comments are skipped. `key` and `value` point into the buffer.
int serialize_read_line(SerializeStore* store, char* buffer, size_t size, char** key, char** value) {
    do {
        errno = 0;
        if (fgets(buffer, static_cast<int>(size), store->stream) == nullptr) {
            log_error(LOG_HERE, "Unable to read line from serialize file. errno=%d", errno);
            return 0;
        }
        util_strip_newline(buffer);
        const char* const start = buffer + strspn(buffer, " \t");
        memmove(buffer, start, strlen(start) + 1);
    } while (buffer[0] == '\0' || buffer[0] == '#');

    char* const equals = strchr(buffer, '=');
    if (equals == nullptr) {
        log_error(LOG_HERE, "Unable to find \"=\" in serialize file for line: %s", buffer);
        return 0;
    }
    *equals = '\0';
    *key = buffer;
    *value = equals + 1;
    return 1;
}

int serialize_check_key(const char* expected, const char* key) {
    if (util_streq(expected, key)) return 1;
    log_error(LOG_HERE, "Expected key, \"%s\", but got \"%s\"", expected, key);
    return 0;
}

// The value of the next field, which has to have this key; null otherwise.
char* read_value(SerializeStore* store, const char* expected, char* buffer, size_t size) {
    char* key = nullptr;
    char* value = nullptr;
    if (!serialize_read_line(store, buffer, size, &key, &value)) return nullptr;
    return serialize_check_key(expected, key) ? value : nullptr;
}

// Puts the "=" back, for a message that shows the line as it was read.
const char* whole_line(char* buffer, char* value) {
    value[-1] = '=';
    return buffer;
}

int serialize_find_terminator(FILE* stream) {
    char line[kLineSize];
    while (fgets(line, sizeof line, stream) != nullptr) {
        util_strip_newline(line);
        if (util_streq(line, kTerminator)) {
            log_debug(LOG_HERE, "Read in terminator: \"%s\"", kTerminator);
            return 1;
        }
    }
    log_error(LOG_HERE, "Unable to read line from serialize file to find terminator");
    return 0;
}

int write_terminator(SerializeStore* store) {
    if (fputs(kTerminator, store->stream) >= 0 && put(store, "\n")) return 1;
    log_error(LOG_HERE, "Unable to write terminator to serialize file");
    return 0;
}

}  // namespace

int serialize_create(SerializeStore** store, const char* path) {
    *store = new_store(path, 1);
    if (*store == nullptr) {
        log_error(LOG_HERE, "Failed serialize_create when allocating space for serialize store of size %d",
                  static_cast<int>(sizeof(SerializeStore)));
        return 0;
    }
    (*store)->stream = os_fopen(path, "w");
    if ((*store)->stream == nullptr) {
        log_error_last_error(LOG_HERE, "Unable to create serialize file: \"%s\"", path);
    } else if (!write_magic(*store)) {
        log_error_last_error(LOG_HERE, "Unable to write magic string to serialize file: \"%s\"", path);
        fclose((*store)->stream);
    } else {
        return 1;
    }
    free(*store);
    *store = nullptr;
    return 0;
}

int serialize_open(SerializeStore** store, const char* path) {
    *store = new_store(path, 0);
    if (*store == nullptr) {
        log_error(LOG_HERE, "Failed serialize_open when allocating space for serialize store of size %d",
                  static_cast<int>(sizeof(SerializeStore)));
        return 0;
    }
    (*store)->stream = os_fopen(path, "r");
    if ((*store)->stream != nullptr) return 1;
    log_debug_last_error(LOG_HERE, "Unable to open serialize file: \"%s\"", path);
    free(*store);
    *store = nullptr;
    return 0;
}

int serialize_pack_int(SerializeStore* store, const char* key, int32_t value) {
    log_dev(LOG_HERE, "pack_int: key = %s, value = %d", key, value);
    char digits[32];
    util_snprintf(digits, sizeof digits, "=%d\n", value);
    if (fputs(key, store->stream) >= 0 && put(store, digits)) return 1;
    log_error(LOG_HERE, "Unable to write (key,value-int) pair, (%s,%d), to serialize file", key, value);
    return 0;
}

int serialize_unpack_str(SerializeStore* store, const char* key, char* value, size_t size) {
    const size_t line_size = strlen(key) + size + kSpareInLine;
    auto* const buffer = static_cast<char*>(malloc(line_size));
    if (buffer == nullptr) {
        log_error(LOG_HERE, "serialize_unpack_str: memory allocation failed");
        return 0;
    }
    int result = 0;
    const char* const text = read_value(store, key, buffer, line_size);
    if (text != nullptr && strlen(text) + 1 > size) {
        log_error(LOG_HERE, "Value string is too long, \"%s\", from serialize file", text);
    } else if (text != nullptr) {
        util_strncpy(value, text, size);
        log_debug(LOG_HERE, "serialize_unpack_str: key='%s',value_str='%s'", key, value);
        result = 1;
    }
    free(buffer);
    return result;
}

int serialize_unpack_int(SerializeStore* store, const char* key, int32_t* value) {
    char buffer[kLineSize];
    char* const text = read_value(store, key, buffer, sizeof buffer);
    if (text == nullptr) return 0;
    if (!util_parse_int(text, value)) {
        log_error(LOG_HERE, "Could not parse an integer from serialize file, line: %s", whole_line(buffer, text));
    }
    log_debug(LOG_HERE, "serialize_unpack_int: key='%s', value=%d", key, *value);
    return 1;
}

int serialize_unpack_double(SerializeStore* store, const char* key, double* value) {
    char buffer[kLineSize];
    char* const text = read_value(store, key, buffer, sizeof buffer);
    if (text == nullptr) return 0;
    char* end = nullptr;
    *value = strtod(text, &end);
    if (end == text) {
        log_error(LOG_HERE, "Could not parse a double from serialize file, line: %s", whole_line(buffer, text));
    }
    log_debug(LOG_HERE, "serialize_unpack_double: key='%s', value=%f", key, *value);
    return 1;
}

int serialize_unpack_boolean(SerializeStore* store, const char* key, int32_t* value) {
    char buffer[kLineSize];
    const char* const text = read_value(store, key, buffer, sizeof buffer);
    if (text == nullptr) return 0;
    const bool is_true = util_streq(text, "TRUE") != 0;
    if (!is_true && !util_streq(text, "FALSE")) {
        log_error(LOG_HERE, "Boolean key, \"%s\", has non-boolean value: \"%s\"", key, text);
        return 0;
    }
    *value = is_true ? 1 : 0;
    log_debug(LOG_HERE, "serialize_unpack_boolean: key='%s', value=%s", key, is_true ? "TRUE" : "FALSE");
    return 1;
}

int serialize_close(SerializeStore* store) {
    const int result = store->writing != 0 ? write_terminator(store) : serialize_find_terminator(store->stream);
    if (fclose(store->stream) != 0) log_error(LOG_HERE, "Unable to close serialize file");
    free(store);
    return result;
}
