// What differs between the builds: the cases, their bars, and what the monitor is measured against.
#pragma once

#include "bench/bench.h"
#include "host/monitor_host.h"

namespace bench {

struct Case {
    const char* name;
    void (*run)(Bench&);
};

struct Plan {
    std::vector<Case> cases;   // in the order of the table
    unsigned small_documents;  // of one turn,
    unsigned log_lines;        // as these
    double log_line;           // the bar against the other log
    unsigned holding_helpers;  // of 500 stalled ports
};
const Plan& plan();

// From now on this process uses the processors of these bits, as far as there are such; which ones it used before. The
// calling thread is the only one.
std::uint64_t use_processors(std::uint64_t mask);
// Of this process, in KiB.
double resident_kib();
// In user and system mode, of this process and its children that have ended; under Wine of its server, too.
double processor_seconds();

// What a lock of the monitor has cost: how often it was entered, how often that had to wait, and for how long in all.
struct LockUse {
    std::uint64_t entered = 0;
    std::uint64_t waited = 0;
    double seconds = 0;
};
struct LockUses {
    LockUse monitor;
    LockUse log;
};
// Of the monitor that is loaded; watch_locks comes before the first look.
void watch_locks(const host::MonitorHost& monitor);
LockUses lock_uses();

// Writes the same lines as the log, each flushed, into a file of that folder.
struct OtherLog {
    const char* name;
    Cost (*write)(const std::string& folder, unsigned threads, unsigned lines, bool detailed);
};
const OtherLog& other_log();

// "--child NAME COUNT PORT": what a process of its own does for a case; its exit status.
int run_child(const std::string& name, std::uint64_t count, std::uint16_t port);

}  // namespace bench
