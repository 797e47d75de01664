// The ports of a monitor: through its configuration channel, as it lists them, and as they are stored.
#pragma once

#include <string>
#include <vector>

#include "host/monitor_host.h"
#include "host/xcv.h"
#include "winportmon/contract/names.h"
#include "winportmon/contract/port_config.h"

namespace host {

using contract::PortConfig;

// Texts are cut to their fields.
PortConfig port_config(const Text& name, const Text& address, DWORD number = contract::kUsualPortNumber);
// "name|address|number"
std::string to_line(const PortConfig& config);

// Commands of the configuration channel; they return its Win32 code.
DWORD send_config(const MonitorHost& monitor, LPCWSTR command, const PortConfig& config,
                  ACCESS_MASK access = SERVER_ACCESS_ADMINISTER);
DWORD send_name(const MonitorHost& monitor, LPCWSTR command, const Text& name,
                ACCESS_MASK access = SERVER_ACCESS_ADMINISTER);
DWORD read_config(const MonitorHost& monitor, const Text& name, PortConfig& config);

// The ports that EnumPorts names, in its order, each as TSGetConfigInfo gives it; empty when that fails.
std::vector<PortConfig> listed_ports(const MonitorHost& monitor);
// Adds those in the registry, in its order. False when one is there in part, which is no port.
bool read_stored_ports(std::vector<PortConfig>& ports, HKEY hive = HKEY_LOCAL_MACHINE,
                       const Text& monitor_key = contract::kMonitorKey);
std::vector<PortConfig> stored_ports();

}  // namespace host
