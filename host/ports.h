// The ports of a monitor: through its configuration channel, as it lists them, and as they are stored.
#pragma once

#include <string>
#include <vector>

#include "host/monitor_host.h"
#include "winportmon/contract/names.h"
#include "winportmon/contract/port_config.h"

namespace host {

using contract::PortConfig;

// A configuration handle, open from construction to destruction. The monitor has to stay loaded.
class Xcv {
  public:
    // `object`: the port that commands are about, or the monitor's name.
    Xcv(const MonitorHost& monitor, const Text& object, ACCESS_MASK access);
    ~Xcv();
    Xcv(const Xcv&) = delete;
    Xcv& operator=(const Xcv&) = delete;

    // The command's Win32 code; 8 when the handle could not be opened. Sizes are passed on as they are, whatever the
    // buffers hold.
    DWORD send(LPCWSTR command, const void* input, DWORD input_size, void* output = nullptr, DWORD output_size = 0,
               DWORD* needed = nullptr) const;

  private:
    MONITOR2* table_;
    HANDLE handle_ = nullptr;
};

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
