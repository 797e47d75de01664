#include "bench/plan.h"

#include <psapi.h>

#include <fstream>

namespace bench {

const Plan& plan() {
    static const Plan plan = {
        .cases = {{"memory", memory_of_ports},
                  {"large", large_documents},
                  {"small", small_documents},
                  {"ports", ports_at_once},
                  {"stalled", stalled_ports},
                  {"locks", lock_waits},
                  {"log", log_lines},
                  {"forced", forced_attributes},
                  {"stored", stored_ports},
                  {"calls", windows_calls}},
        .small_documents = 400,
        .log_lines = 4000,
        .log_line = 1.1,
        .holding_helpers = 10,
    };
    return plan;
}

std::uint64_t use_processors(std::uint64_t mask) {
    DWORD_PTR before = 0;
    DWORD_PTR all = 0;
    GetProcessAffinityMask(GetCurrentProcess(), &before, &all);
    SetProcessAffinityMask(GetCurrentProcess(), mask & all);
    return before;
}

double resident_kib() {
    PROCESS_MEMORY_COUNTERS counters = {};
    require(GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) != FALSE,
            "the memory in use is not known here");
    return static_cast<double>(counters.WorkingSetSize) / 1024;
}

double processor_seconds() {
    const auto seconds = [](const FILETIME& time) {
        return static_cast<double>((std::uint64_t{time.dwHighDateTime} << 32) + time.dwLowDateTime) * 1e-7;
    };
    FILETIME ignored[2];
    FILETIME kernel;
    FILETIME user;
    GetProcessTimes(GetCurrentProcess(), &ignored[0], &ignored[1], &kernel, &user);
    // Wine's server opens files: it sees itself there.
    std::ifstream server("Z:/proc/self/schedstat");
    double nanoseconds = 0;
    server >> nanoseconds;
    return seconds(kernel) + seconds(user) + nanoseconds * 1e-9;
}

int run_child(const std::string& name, std::uint64_t count, std::uint16_t port) {
    return repeat_documents(name, count, port) ? 0 : 2;
}

}  // namespace bench
