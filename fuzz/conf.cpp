// The settings file and the environment's version: one text, read as both.
#include <cstring>
#include <memory>

#include "common/config.h"
#include "fuzz/support.h"
#include "winapi/linux/control.h"

namespace {

bool is_terminated(const char* field, size_t size) {
    return memchr(field, '\0', size) != nullptr;
}

bool is_one_of(const char* text, std::initializer_list<const char*> words) {
    for (const char* const word : words) {
        if (strcmp(text, word) == 0) return true;
    }
    return false;
}

void check_setting(const ConfigVar& var, const SessionContext& context) {
    const char* const field = reinterpret_cast<const char*>(&context) + var.field;
    int32_t number = 0;
    if (var.type == CONFIG_VAR_INT || var.type == CONFIG_VAR_BOOL) memcpy(&number, field, sizeof number);
    REQUIRE(var.type != CONFIG_VAR_STRING || is_terminated(field, var.size));
    REQUIRE(var.type != CONFIG_VAR_INT || number >= 0);
    REQUIRE(var.type != CONFIG_VAR_BOOL || number == 0 || number == 1);
}

void check_settings(const SessionContext& context) {
    for (size_t i = 0; i < CONFIG_VAR_COUNT; ++i) check_setting(config_vars[i], context);
    REQUIRE(context.debug_logging == 0 || context.debug_logging == 1);
    REQUIRE(context.dev_logging == 0 || context.dev_logging == 1);
    REQUIRE(context.error_poll_method >= 0 && context.error_poll_method <= 3);
    const int32_t period = context.check_held_job_ms;
    REQUIRE(period == -1 || period == 0 || period >= 100);  // 0: not a number
    for (const char* const version : {context.tls_min_protocol_version, context.tls_max_protocol_version}) {
        REQUIRE(is_one_of(version, {"TLSv1.0", "TLSv1.1", "TLSv1.2", "TLSv1.3"}));
    }
    REQUIRE(context.tls_ca_bundle_path[0] == '\0');
    REQUIRE(is_terminated(context.server_name, sizeof context.server_name));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string file = fuzz::scratch() + "/text";
    static constexpr const char* kPath = "C:\\text";
    SessionContext& context = session_context;
    memset(&context, 0, sizeof context);
    config_set_defaults();
    const fuzz::NothingLeftOver nothing;

    std::string text(reinterpret_cast<const char*>(data), size);
    // A text ends at its Ctrl-Z, wherever that stands.
    const bool whole_lines = (text.empty() || text.back() == '\n') && text.find('\x1A') == std::string::npos;
    if (whole_lines) text += "LogRotateNumber=7\nEnvVersion=7\n";
    fuzz::write_file(file, text);

    REQUIRE(config_parse_file(kPath, &context) == 0);
    check_settings(context);
    REQUIRE(!whole_lines || context.log_rotate_number == 7);

    // The last entry of a name counts: reading it all once more changes nothing.
    const auto once = std::make_unique<SessionContext>(context);
    REQUIRE(config_parse_file(kPath, &context) == 0);
    REQUIRE(memcmp(once.get(), &context, sizeof context) == 0);

    REQUIRE(config_load_env_version(kPath, &context) == 0);
    REQUIRE(context.env_version >= 0);
    REQUIRE(!whole_lines || context.env_version == 7);

    // What follows once the settings are read.
    config_set_spool_subdirs(&context);
    config_set_encrypted_dirs(&context);
    config_set_transform_dirs(&context);
    config_apply_mode_rules(&context);
    config_dump(&context);
    check_settings(context);
    REQUIRE(is_terminated(context.encrypted_debug_dir_path, sizeof context.encrypted_debug_dir_path));
    return 0;
}
