// What one job of the soak is to be: its bytes, its course through the monitor, and the trouble on its way. All of it
// comes from one random number generator, so that a seed repeats it.
#pragma once

#include <random>
#include <string>

#include "tools/host/records.h"
#include "tools/peer/tcp_printer.h"

namespace soak {

using Random = std::mt19937_64;

enum class Kind {
    direct,
    progress,      // with a progress record
    not_approved,  // with a marker
    check_ok,      // the hardware is checked, and the helper agrees,
    check_wait,    // holds the job for a while,
    check_delete,  // drops it,
    check_error,   // fails at some command,
    check_dies,    // or ends at some command
    forced,        // the helper rewrites the job,
    forced_dies,   // or ends while it should
};
constexpr const char* kKindNames[] = {"direct",        "progress record",      "not approved",   "checked",
                                      "checked, held", "checked, dropped",     "checked, error", "checked, helper dies",
                                      "rewritten",     "rewriting helper dies"};
constexpr size_t kKinds = std::size(kKindNames);

enum class Trouble {
    none,
    lost_once,    // the printer resets or closes the first connection, somewhere in the document
    lost_always,  // and every other one
    lost_felt,    // the first one, early, and what follows is written only after that
    refused,      // it does not listen
    stalled,      // it stops reading for a moment
    slow_close,   // it closes later than the monitor waits for it
};
constexpr const char* kTroubleNames[] = {"no trouble", "lost once", "lost always", "lost and felt",
                                         "refused",    "stalled",   "slow close"};

struct Plan {
    Kind kind = Kind::direct;
    host::Course course;  // as the service lays it out, with the helper's script
    Trouble trouble = Trouble::none;
    peer::Behaviour behaviour;  // of the printer, as the trouble wants it
    std::string data;
    std::string rewritten;      // what the helper makes of the data
    bool helper_fails = false;  // it dies before it has taken all commands: nothing can be sent
    DWORD write_size = 65536;

    bool is_checked() const { return kind >= Kind::check_ok && kind <= Kind::check_dies; }
    bool is_forced() const { return kind >= Kind::forced; }
};

Plan make_plan(Random& random);
// A number from 0 on that is less than `end`.
std::uint64_t below(Random& random, std::uint64_t end);

}  // namespace soak
