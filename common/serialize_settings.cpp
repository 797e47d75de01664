#include "common/serialize_settings.h"

#include "common/log.h"
#include "common/serialize.h"
#include "common/serialize_names.h"
#include "common/util.h"

namespace {

constexpr int32_t kLatestVersion = 5;
constexpr size_t kValueSize = 1024;

template <typename Mode>
struct ModeText {
    const char* text;
    Mode mode;
};

constexpr ModeText<FailureMode> kFailureModes[] = {
    {"PRINT_NEW_NO_REPLAY", FAILURE_PRINT_NEW_NO_REPLAY},
    {"PRINT_NEW_WITH_REPLAY", FAILURE_PRINT_NEW_WITH_REPLAY},
    {"HOLD", FAILURE_HOLD},
};
constexpr ModeText<HardwareCheckMode> kHardwareCheckModes[] = {
    {"SNMP", HARDWARE_CHECK_SNMP},
    {"DEVICE-API", HARDWARE_CHECK_DEVICE_API},
    {"NONE", HARDWARE_CHECK_NONE},
};
constexpr ModeText<QueueConfidentialityMode> kQueueConfidentialityModes[] = {
    {"HIDE_NONE", QUEUE_HIDE_NONE},
    {"HIDE_NAME", QUEUE_HIDE_NAME},
};

template <typename Mode, size_t N>
bool read_mode(SerializeStore* store, const char* key, const ModeText<Mode> (&modes)[N], Mode* mode) {
    char value[kValueSize];
    if (!serialize_unpack_str(store, key, value, sizeof value)) return false;
    for (const ModeText<Mode>& known : modes) {
        if (util_streq(value, known.text)) {
            *mode = known.mode;
            return true;
        }
    }
    return false;
}

bool read_flag(SerializeStore* store, const char* key, int32_t* flag) {
    char value[kValueSize];
    if (!serialize_unpack_str(store, key, value, sizeof value)) return false;
    *flag = value[0] == 'Y' ? 1 : 0;
    return true;
}

// Reads the fields that the record's version has; the later ones keep the defaults they come with.
bool read_fields(SerializeStore* store, PrinterSettings* settings) {
    settings->hardware_check_mode = HARDWARE_CHECK_NONE;
    settings->is_virtual = 0;
    settings->queue_confidentiality_mode = QUEUE_HIDE_NONE;

    const int32_t& version = settings->version;
    return serialize_unpack_int(store, "version", &settings->version) &&
           read_flag(store, "enable_color_detection", &settings->enable_color_detection) &&
           read_mode(store, "failure_mode", kFailureModes, &settings->failure_mode) &&
           (version < 2 ||
            read_mode(store, "hardware_check_mode", kHardwareCheckModes, &settings->hardware_check_mode)) &&
           (version < 3 || read_flag(store, "is_virtual", &settings->is_virtual)) &&
           (version < 4 || read_mode(store, "queue-confidentiality-mode", kQueueConfidentialityModes,
                                     &settings->queue_confidentiality_mode));
}

void note_version(const char* name, int32_t version) {
    if (version < kLatestVersion) {
        log_debug(LOG_HERE, "NOTE: Printer settings file %s version %d found (latest version is %d)", name, version,
                  kLatestVersion);
    } else if (version > kLatestVersion) {
        log_debug(LOG_HERE, "NOTE: Printer settings file %s version %d found. You are using an old version %d", name,
                  version, kLatestVersion);
    }
}

}  // namespace

void serialize_settings_filename(char* out, size_t size, const char* printer_name) {
    if (util_snprintf(out, size, "%s.dat", printer_name) >= static_cast<int>(size)) {
        log_error(LOG_HERE, "Serialize settings filename has been truncated: %s", out);
    }
    util_sanitize_filename(out);
}

int serialize_settings_readin(const char* directory, const char* printer_name, PrinterSettings* settings) {
    char name[kRecordNameSize];
    char path[kRecordPathSize];
    serialize_settings_filename(name, sizeof name, printer_name);
    if (!serialize_find_file(path, directory, name)) {
        log_debug(LOG_HERE, "Printer settings file '%s' does not exist", path);
        return 0;
    }
    SerializeStore* store = nullptr;
    if (!serialize_open(&store, path)) return 0;
    const bool read = read_fields(store, settings);
    if (read) note_version(name, settings->version);
    return serialize_close(store) && read ? 1 : 0;
}
