// Queues without a port and ports without a queue.
#pragma once

#include "tsport/doctor/findings.h"
#include "tsport/spooler.h"

namespace tsport::doctor {

// `ports` are those of all monitors.
void check_queues(const std::vector<Queue>& queues, const std::vector<SpoolerPort>& ports, Findings& findings);
// The same, asked of the spooler.
void check_queues(const Spooler& spooler, Findings& findings);

}  // namespace tsport::doctor
