#include "bench/plan.h"

#include <psapi.h>

#include <cstdio>

namespace bench {

const Plan& plan() {
    static const Plan plan = {
        .cases = {{"memory", memory_of_ports},
                  {"large", large_documents},
                  {"small", small_documents},
                  {"ports", ports_at_once},
                  {"locks", lock_waits},
                  {"log", log_lines},
                  {"forced", forced_attributes},
                  {"stored", stored_ports},
                  {"calls", windows_calls},
                  {"pieces", pieces_of_a_document}},
        .large = {{256 * kMiB, 4 * kKiB, 1.05}, {kGiB, 64 * kKiB, 1.03}, {kGiB, kMiB, {}}},
        .small_off = 1.35,
        .small_debug = {},
        .port_64 = {},
        .port_1000 = {},
        .log_line = {},
        .log_lines = 16000,
        .forced = {},
        .start = 12,
        .enum_ports = {},
        .is_dropping_worth_a_row = false,
    };
    return plan;
}

ReceiverPorts find_receiver(const std::string& given) {
    unsigned data = 0;
    unsigned control = 0;
    require(std::sscanf(given.c_str(), "%u:%u", &data, &control) == 2, "--receiver is needed here");
    return {static_cast<std::uint16_t>(data), static_cast<std::uint16_t>(control)};
}

void raise_limits() {}

double resident_kib() {
    PROCESS_MEMORY_COUNTERS counters = {};
    require(GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) != FALSE,
            "the memory in use is not known here");
    return static_cast<double>(counters.WorkingSetSize) / 1024;
}

int run_child(const std::string& name, std::uint64_t count, std::uint16_t port) {
    return repeat_documents(name, count, port) ? 0 : 2;
}

}  // namespace bench
