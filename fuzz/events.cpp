// Exported event logs and a library's symbols: whatever they hold, the doctor's answer is printable.
#include "fuzz/support.h"
#include "tsport/doctor/binary.h"
#include "tsport/doctor/crashes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    const uint32_t address = input.word();
    const std::string bytes(input.bytes(size));
    std::vector<tsport::doctor::Event> events;
    std::string why;
    REQUIRE(tsport::doctor::read_events(bytes, events, why) == !events.empty());
    tsport::doctor::Findings findings;
    tsport::doctor::check_events(events, {"1.0.0", bytes, {}, {}}, findings);
    for (const char c : findings.to_text() + findings.to_json()) {
        REQUIRE(static_cast<unsigned char>(c) >= 0x20 || c == '\n');
    }
    tsport::doctor::function_at(bytes, address);
    return 0;
}
