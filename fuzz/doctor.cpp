// Settings as the doctor reads them: hostile ones never break it, and it makes of them what the monitor makes of them.
#include "common/config.h"
#include "fuzz/support.h"
#include "tools/tsport/doctor/conf.h"
#include "tools/tsport/doctor/library.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string file = fuzz::scratch() + "/text";
    static constexpr const char* kPath = "C:\\text";
    const std::string text(reinterpret_cast<const char*>(data), size);
    fuzz::write_file(file, text);
    memset(&session_context, 0, sizeof session_context);

    tsport::doctor::Findings findings;
    tsport::doctor::Settings settings;
    tsport::doctor::read_conf(text, "print-provider.conf", settings, findings);
    tsport::doctor::read_env_version(text, "env-version", settings, findings);
    for (const char c : findings.in_words() + findings.in_json()) {
        REQUIRE(static_cast<unsigned char>(c) >= 0x20 || c == '\n');
    }

    REQUIRE(config_parse_file(kPath, &session_context) == 0);
    REQUIRE(config_load_env_version(kPath, &session_context) == 0);
    REQUIRE(memcmp(settings.values.get(), &session_context, sizeof session_context) == 0);

    tsport::doctor::read_library(text);
    return 0;
}
