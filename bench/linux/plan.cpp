#include "bench/plan.h"

#include <sched.h>
#include <sys/resource.h>
#include <time.h>

#include <fstream>

#include "bench/linux/others.h"
#include "host/platform.h"
#include "winapi/linux/control.h"

namespace bench {

const Plan& plan() {
    static const Plan plan = {
        // A start comes first: in a spooler, too, the memory is new then.
        .cases = {{"stored", stored_ports},
                  {"large", large_documents},
                  {"cups", cups},
                  {"small", small_documents},
                  {"ports", ports_at_once},
                  {"stalled", stalled_ports},
                  {"locks", lock_waits},
                  {"log", log_lines},
                  {"forced", forced_attributes},
                  {"tsport", ports_by_tsport},
                  {"memory", memory},
                  {"allocations", allocations},
                  {"calls", system_calls},
                  {"report", reports}},
        .small_documents = 2000,
        .log_lines = 160000,
        .log_line = 1,
        .holding_helpers = 100,
    };
    return plan;
}

std::uint64_t use_processors(std::uint64_t mask) {
    cpu_set_t set;
    sched_getaffinity(0, sizeof set, &set);
    std::uint64_t before = 0;
    for (int i = 0; i < 64; ++i) {
        if (CPU_ISSET(i, &set)) before |= std::uint64_t{1} << i;
        if ((mask >> i & 1) != 0)
            CPU_SET(i, &set);
        else
            CPU_CLR(i, &set);
    }
    sched_setaffinity(0, sizeof set, &set);
    return before;
}

double status_kib(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name)) return std::stod(line.substr(name.size()));
    }
    throw Failed("the memory in use is not known here: " + name);
}

double processor_seconds() {
    timespec own{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &own);
    rusage children{};
    getrusage(RUSAGE_CHILDREN, &children);
    return static_cast<double>(own.tv_sec + children.ru_utime.tv_sec + children.ru_stime.tv_sec) +
           static_cast<double>(own.tv_nsec) * 1e-9 +
           static_cast<double>(children.ru_utime.tv_usec + children.ru_stime.tv_usec) * 1e-6;
}

double resident_kib() {
    return status_kib("VmRSS:");
}

void watch_locks(const host::MonitorHost&) {}

LockUses lock_uses() {
    // In the order in which the monitor creates them: MonitorLock, those of changes and of handles, that of the log.
    const std::vector<winapi::LockUse> all = winapi::lock_uses();
    require(all.size() >= 4, "the monitor's locks are not there");
    const auto use = [&all](size_t number) {
        return LockUse{all[number].entered, all[number].waited, static_cast<double>(all[number].nanoseconds) * 1e-9};
    };
    return {use(0), use(3)};
}

}  // namespace bench
