// The stored ports: those the monitor will not load, odd ones, and whether their printers accept connections.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "tsport/doctor/findings.h"
#include "tsport/ports/port.h"

namespace tsport::doctor {

// The ports below the monitor's key; one that the monitor will skip has a finding instead.
std::vector<Port> read_registry_ports(HKEY hive, const Text& monitor_key, Findings& findings);
// Those of a file of ports, as export writes it. False with the reason when it cannot be read at all.
bool read_file_ports(const std::string& path, std::vector<Port>& ports, Findings& findings, std::string& why);

void check_ports(const std::vector<Port>& ports, Findings& findings);
// Many at once.
void try_ports(const std::vector<Port>& ports, std::chrono::milliseconds limit, Findings& findings);

}  // namespace tsport::doctor
