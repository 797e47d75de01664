// The options of tsport migrate.
#pragma once

#include <string>

#include "host/text.h"

namespace tsport::migrate {

using host::Text;

struct Options {
    bool apply = false;        // otherwise only the plan is shown
    bool to_standard = false;  // from ports of this monitor to Standard TCP/IP ports
    bool all = false;          // new ports for those without queues too
    bool test = false;         // only printers that accept a connection now
    bool with_jobs = false;    // queues with jobs waiting too
    bool stop = false;         // at the first failure
    std::string only;          // a pattern for queues and ports; empty: all
    std::string name;          // a pattern for new ports; empty: the usual one
    std::string journal = "tsport-migrate.journal";
    std::string undo;  // a journal; empty: nothing is undone
};

}  // namespace tsport::migrate
