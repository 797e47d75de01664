#include "tsport/doctor/queues.h"

#include <set>

#include "tsport/answer.h"
#include "winportmon/contract/names.h"

namespace tsport::doctor {

void check_queues(const std::vector<Queue>& queues, const std::vector<SpoolerPort>& ports, Findings& findings) {
    std::set<Text, NameOrder> known;
    std::set<Text, NameOrder> used;
    for (const SpoolerPort& port : ports) known.insert(port.name);
    for (const Queue& queue : queues) {
        for (const Text& port : queue.ports) {
            used.insert(port);
            if (port.empty() || known.count(port) != 0) continue;
            findings.add("queues.port-gone",
                         "the queue " + named(queue.name) + " prints to " + named(port) + ", which does not exist",
                         "tsport add " + named(port) + " HOST PORT, or give the queue another port in its properties");
        }
    }
    size_t ours = 0;
    for (const SpoolerPort& port : ports) {
        if (!same_name(port.monitor, contract::kMonitorName)) continue;
        ++ours;
        if (used.count(port.name) != 0) continue;
        findings.add("queues.no-queue", "no queue prints to the port " + named(port.name),
                     "give a printer this port, or tsport delete " + named(port.name));
    }
    findings.saw("queues", counted(queues.size(), "queue") + ", " + counted(ours, "port") + " of this monitor");
}

void check_queues(const Spooler& spooler, Findings& findings) {
    if (!findings.wants("queues")) return;
    std::vector<Queue> queues;
    std::vector<SpoolerPort> ports;
    DWORD error = spooler.queues(queues);
    if (error == ERROR_SUCCESS) error = spooler.ports(ports);
    if (error != ERROR_SUCCESS) {
        findings.skipped("queues", "the spooler does not answer: " + host::error_message(error));
        return;
    }
    check_queues(queues, ports, findings);
}

}  // namespace tsport::doctor
