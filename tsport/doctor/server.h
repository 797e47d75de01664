// The monitor in the spooler, its library, its ports and queues, and the Print Provider's places in the registry.
#pragma once

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "tsport/doctor/findings.h"
#include "tsport/spooler.h"

namespace tsport::doctor {

// False when the monitor is not registered.
bool check_registration(HKEY hive, Findings& findings);
void check_protected_print(HKEY hive, Findings& findings);

struct Installed {
    std::string path;              // of the library
    std::string system_directory;  // where its imports have to be; empty: they are not looked for
    std::string sums;              // the package's SHA256SUMS; empty: there is none to compare with
};
void check_library(const Installed& installed, Findings& findings);

// The spooler's service, and whether it has loaded the monitor. After the checks of the monitor.
void check_spooler(const Spooler& spooler, bool registered, Findings& findings);

// The base directory that the monitor will use; empty when it finds none.
std::string find_base(HKEY hive, Findings& findings);
// That of this server, for a verb that was not told of a log; empty, with what to do, when it has none.
std::string find_own_base(std::string& why);

// The ports below the monitor's key; one that the monitor will skip has a finding instead.
std::vector<Port> read_registry_ports(HKEY hive, Findings& findings);
// Those of a file of ports, as export writes it. False with the reason when it cannot be read at all.
bool read_file_ports(const std::string& path, std::vector<Port>& ports, Findings& findings, std::string& why);

// Odd ports, and several that lead to one printer.
void check_ports(const std::vector<Port>& ports, Findings& findings);
// Whether their printers accept connections, many at once.
void try_ports(const std::vector<Port>& ports, std::chrono::milliseconds limit, Findings& findings);

struct SpoolerView {
    std::vector<Queue> queues;
    std::vector<SpoolerPort> ports;        // of all monitors
    std::set<Text, NameOrder> not_opened;  // those of this monitor that the spooler lists and does not know
};
// Queues without a port, ports without a queue, and stored ports that the spooler does not know. After all else.
void check_queues(const SpoolerView& view, const std::vector<Port>& stored, Findings& findings);
// The same, asked of the spooler.
void check_queues(const Spooler& spooler, const std::vector<Port>& stored, Findings& findings);

}  // namespace tsport::doctor
