// The settings file and the environment's version: one text, read as both by the monitor, and by the doctor, who has to
// make the same of it.
#include "common/config.h"
#include "common/global.h"
#include "fuzz/support.h"
#include "tsport/doctor/base.h"
#include "tsport/doctor/binary.h"

namespace {

constexpr const char* kPath = "C:\\text";

void check_setting(const ConfigVar& var, const SessionContext& context) {
    const char* const field = reinterpret_cast<const char*>(&context) + var.field;
    int32_t number = 0;
    if (var.type == CONFIG_VAR_INT || var.type == CONFIG_VAR_BOOL) memcpy(&number, field, sizeof number);
    REQUIRE(var.type != CONFIG_VAR_STRING || memchr(field, '\0', var.size) != nullptr);
    REQUIRE(var.type != CONFIG_VAR_BOOL || number <= 1);
    REQUIRE(number >= 0);
}

void check_settings(const SessionContext& context) {
    for (size_t i = 0; i < CONFIG_VAR_COUNT; ++i) check_setting(config_vars[i], context);
    REQUIRE(context.env_version >= 0);
}

// The text is in the file.
void check_doctor(const std::string& text) {
    memset(&session_context, 0, sizeof session_context);
    tsport::doctor::Findings findings;
    tsport::doctor::Settings settings;
    tsport::doctor::read_conf(text, settings, findings);
    tsport::doctor::read_env_version(text, settings, findings);
    for (const char c : findings.to_text() + findings.to_json()) {
        REQUIRE(static_cast<unsigned char>(c) >= 0x20 || c == '\n');
    }
    REQUIRE(config_parse_file(kPath, &session_context) == 0);
    REQUIRE(config_load_env_version(kPath, &session_context) == 0);
    REQUIRE(memcmp(settings.values.get(), &session_context, sizeof session_context) == 0);
    tsport::doctor::read_library(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    SessionContext& context = session_context;
    memset(&context, 0, sizeof context);
    config_set_defaults();
    const fuzz::NothingLeftOver nothing;

    std::string text(reinterpret_cast<const char*>(data), size);
    // A text ends at its Ctrl-Z, wherever that stands.
    const bool whole_lines = (text.empty() || text.back() == '\n') && text.find('\x1A') == std::string::npos;
    if (whole_lines) text += "LogRotateNumber=7\nEnvVersion=7\n";
    fuzz::write_file(fuzz::scratch() + "/text", text);
    REQUIRE(config_parse_file(kPath, &context) == 0);
    REQUIRE(config_load_env_version(kPath, &context) == 0);
    REQUIRE(!whole_lines || (context.log_rotate_number == 7 && context.env_version == 7));
    check_settings(context);

    // What follows once the settings are read.
    config_set_spool_subdirs(&context);
    config_set_encrypted_dirs(&context);
    config_set_transform_dirs(&context);
    config_apply_mode_rules(&context);
    config_dump(&context);
    check_settings(context);
    check_doctor(text);
    return 0;
}
