// Record files of the Print Provider, several in one input (a line "%%" separates them): each is read as a printer's
// settings and as the attributes forced on a job.
#include "common/global.h"
#include "common/serialize.h"
#include "common/serialize_msf.h"
#include "common/serialize_settings.h"
#include "fuzz/support.h"

namespace {

constexpr const char* kFolder = "C:";

bool is_flag(int32_t value) {
    return value == 0 || value == 1;
}

// A record whose fields hold no value that one read from a file can have.
template <typename Record>
Record unread() {
    Record record;
    memset(static_cast<void*>(&record), 0x55, sizeof record);
    return record;
}

void check_settings() {
    auto settings = unread<PrinterSettings>();
    if (serialize_settings_readin(kFolder, "P", &settings) == 0) return;
    REQUIRE(is_flag(settings.enable_color_detection) && is_flag(settings.is_virtual));
    REQUIRE(settings.failure_mode >= FAILURE_PRINT_NEW_NO_REPLAY && settings.failure_mode <= FAILURE_HOLD);
    REQUIRE(settings.hardware_check_mode >= HARDWARE_CHECK_SNMP && settings.hardware_check_mode <= HARDWARE_CHECK_NONE);
    REQUIRE(settings.queue_confidentiality_mode == QUEUE_HIDE_NONE ||
            settings.queue_confidentiality_mode == QUEUE_HIDE_NAME);
}

void check_msf() {
    auto record = unread<MsfRecord>();
    serialize_msf_readin(kFolder, "P", "7", &record);
    REQUIRE(memchr(record.watermark_text, '\0', sizeof record.watermark_text) != nullptr);
    REQUIRE(is_flag(record.default_to_a4) && is_flag(record.force_duplex));
    REQUIRE(is_flag(record.force_grayscale) && is_flag(record.inject_job_uid));
}

// Each kind of field under a key that the bytes may hold, and a text into a buffer that is exactly as large as it says.
void check_fields(size_t text_size) {
    SerializeStore* store = nullptr;
    REQUIRE(serialize_open(&store, "C:\\P.dat") == 1);
    std::vector<char> text(text_size);
    double real = 0;
    int32_t number = 0;
    for (int fields = 0; fields < 4; ++fields) {
        if (serialize_unpack_str(store, "k", text.data(), text_size) == 1) {
            REQUIRE(memchr(text.data(), '\0', text_size) != nullptr);
        }
        if (serialize_unpack_boolean(store, "k", &number) == 1) REQUIRE(is_flag(number));
        serialize_unpack_int(store, "k", &number);
        serialize_unpack_double(store, "k", &real);
    }
    serialize_close(store);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr std::string_view kSeparator = "%%\n";
    session_context.debug_logging = 1;
    const std::string& folder = fuzz::scratch();
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    for (int records = 0; records < 4 && !rest.empty(); ++records) {
        const std::string_view record = rest.substr(0, rest.find(kSeparator));
        rest.remove_prefix(std::min(record.size() + kSeparator.size(), rest.size()));
        for (const char* const file : {"/P.dat", "/msf-P-7.dat"}) fuzz::write_file(folder + file, record);
        const fuzz::NothingLeftOver nothing;
        check_settings();
        check_msf();
        check_fields(record.size() % 300 + 1);
    }
    return 0;
}
