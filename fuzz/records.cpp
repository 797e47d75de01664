// Record files of the Print Provider, several in one input (a line "%%" separates them): each is read as a printer's
// settings and as the attributes forced on a job.
#include <cstring>

#include "common/global.h"
#include "common/serialize.h"
#include "common/serialize_msf.h"
#include "common/serialize_settings.h"
#include "fuzz/support.h"

namespace {

constexpr const char* kFolder = "C:";
constexpr uint8_t kBefore = 0x55;  // what a record is filled with before it is read

template <typename Record>
Record filled() {
    Record record;
    memset(static_cast<void*>(&record), kBefore, sizeof record);
    return record;
}

bool is_flag(int32_t value) {
    return value == 0 || value == 1;
}

int read_settings(std::string_view bytes, PrinterSettings& settings) {
    fuzz::write_file(fuzz::scratch() + "/P.dat", bytes);
    const fuzz::NothingLeftOver nothing;
    return serialize_settings_readin(kFolder, "P", &settings);
}

void check_settings(std::string_view bytes) {
    auto settings = filled<PrinterSettings>();
    const int result = read_settings(bytes, settings);
    REQUIRE(is_flag(result));
    if (result == 0) return;
    REQUIRE(bytes.find("#END") != std::string_view::npos);
    REQUIRE(is_flag(settings.enable_color_detection) && is_flag(settings.is_virtual));
    REQUIRE(settings.failure_mode >= FAILURE_PRINT_NEW_NO_REPLAY && settings.failure_mode <= FAILURE_HOLD);
    REQUIRE(settings.hardware_check_mode >= HARDWARE_CHECK_SNMP && settings.hardware_check_mode <= HARDWARE_CHECK_NONE);
    REQUIRE(settings.queue_confidentiality_mode == QUEUE_HIDE_NONE ||
            settings.queue_confidentiality_mode == QUEUE_HIDE_NAME);
    REQUIRE(settings.version >= 2 || settings.hardware_check_mode == HARDWARE_CHECK_NONE);

    // Comments and empty lines in front are nothing.
    auto again = filled<PrinterSettings>();
    REQUIRE(read_settings("# a comment\n\n \t# another=1\r\n" + std::string(bytes), again) == 1);
    REQUIRE(memcmp(&settings, &again, sizeof settings) == 0);
}

void check_msf(std::string_view bytes) {
    fuzz::write_file(fuzz::scratch() + "/msf-P-7.dat", bytes);
    auto record = filled<MsfRecord>();
    const fuzz::NothingLeftOver nothing;
    const int result = serialize_msf_readin(kFolder, "P", "7", &record);
    REQUIRE(is_flag(result));
    REQUIRE(memchr(record.watermark_text, '\0', sizeof record.watermark_text) != nullptr);
    for (const int32_t flag :
         {record.default_to_a4, record.force_duplex, record.force_grayscale, record.inject_job_uid}) {
        REQUIRE(is_flag(flag));
    }
}

// Each kind of field under a key that the bytes may hold, and a text into a buffer that is exactly as large as it says.
void check_fields(std::string_view bytes) {
    fuzz::write_file(fuzz::scratch() + "/record", bytes);
    const fuzz::NothingLeftOver nothing;
    SerializeStore* store = nullptr;
    REQUIRE(serialize_open(&store, "C:\\record") == 1);
    const size_t size = bytes.size() % 300 + 1;
    const fuzz::ExactBuffer text(size);
    char* const value = reinterpret_cast<char*>(text.get());
    double real = 0;
    int32_t number = -1;
    for (int fields = 0; fields < 4; ++fields) {
        if (serialize_unpack_str(store, "k", value, size) == 1) REQUIRE(memchr(value, '\0', size) != nullptr);
        if (serialize_unpack_boolean(store, "k", &number) == 1) REQUIRE(is_flag(number));
        REQUIRE(is_flag(serialize_unpack_int(store, "k", &number)));
        REQUIRE(is_flag(serialize_unpack_double(store, "k", &real)));
    }
    REQUIRE(is_flag(serialize_close(store)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    session_context.debug_logging = 1;
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    for (int records = 0; records < 4 && !rest.empty(); ++records) {
        constexpr std::string_view kSeparator = "%%\n";
        const size_t end = std::min(rest.find(kSeparator), rest.size());
        check_settings(rest.substr(0, end));
        check_msf(rest.substr(0, end));
        check_fields(rest.substr(0, end));
        rest.remove_prefix(std::min(end + kSeparator.size(), rest.size()));
    }
    return 0;
}
