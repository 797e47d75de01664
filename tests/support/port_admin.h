// A print server whose ports are configured through the monitor's configuration channel.
#pragma once

#include <algorithm>
#include <cstring>

#include "tests/support/print_server.h"
#include "tools/host/xcv.h"
#include "winportmon/tsmon/tsmon.h"

namespace test {

using tsmon::PortConfig;

// Commands of the configuration channel to the monitor of any print server.
inline PortConfig port_config(const Text& name, const Text& address, DWORD number = 9100) {
    PortConfig made = {};
    std::copy_n(address.begin(), std::min(address.size(), tsmon::kPrinterAddressSize), made.printer_address);
    std::copy_n(name.begin(), std::min(name.size(), tsmon::kPortNameSize), made.port_name);
    made.port_number = number;
    return made;
}
inline DWORD send_config(const host::MonitorHost& monitor, LPCWSTR command, const PortConfig& config,
                         ACCESS_MASK access = SERVER_ACCESS_ADMINISTER) {
    return host::Xcv(monitor, W(""), access).send(command, &config, sizeof config);
}
inline DWORD send_name(const host::MonitorHost& monitor, LPCWSTR command, const Text& name,
                       ACCESS_MASK access = SERVER_ACCESS_ADMINISTER) {
    return host::Xcv(monitor, W(""), access)
        .send(command, name.c_str(), static_cast<DWORD>((name.size() + 1) * sizeof(WCHAR)));
}

class PortAdmin : public PrintServer {
  protected:
    static constexpr ACCESS_MASK kAdministrator = SERVER_ACCESS_ADMINISTER;

    static PortConfig config(const Text& name, const Text& address, DWORD number = 9100) {
        return port_config(name, address, number);
    }
    DWORD send(LPCWSTR command, const PortConfig& config, ACCESS_MASK access = kAdministrator) {
        return send_config(monitor, command, config, access);
    }
    DWORD send(LPCWSTR command, const Text& name, ACCESS_MASK access = kAdministrator) {
        return send_name(monitor, command, name, access);
    }
    DWORD get(const Text& name, PortConfig& config) {
        return host::Xcv(monitor, name, kAdministrator).send(W("TSGetConfigInfo"), nullptr, 0, &config, sizeof config);
    }

    // "name|address|number" of each port: as the monitor lists it, in its order ...
    Lines listed() {
        std::vector<std::uint64_t> buffer(1 << 14);
        DWORD needed = 0;
        DWORD count = 0;
        EXPECT_TRUE(monitor.table()->pfnEnumPorts(monitor.monitor(), nullptr, 1, reinterpret_cast<BYTE*>(buffer.data()),
                                                  static_cast<DWORD>(buffer.size() * 8), &needed, &count));
        Lines lines;
        for (DWORD i = 0; i < count; ++i) {
            const Text name = reinterpret_cast<const PORT_INFO_1W*>(buffer.data())[i].pName;
            PortConfig config = {};
            EXPECT_EQ(get(name, config), 0u) << host::to_utf8(name);
            lines.push_back(line(name, config));
        }
        return lines;
    }
    // ... and as it is stored, in the registry's order. What is stored in part is no port.
    static Lines stored() {
        Lines lines;
        const Text path = Text(host::monitor_registry_path) + W("\\Ports");
        HKEY ports = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &ports) != ERROR_SUCCESS) return lines;
        WCHAR name[256];
        DWORD size = 256;
        for (DWORD i = 0; RegEnumKeyExW(ports, i, name, &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
             ++i) {
            size = 256;
            HKEY port = nullptr;
            PortConfig config = {};
            EXPECT_EQ(RegOpenKeyExW(ports, name, 0, KEY_READ, &port), ERROR_SUCCESS);
            const bool whole = query(port, W("HostName"), config.printer_address, sizeof config.printer_address) &&
                               query(port, W("PortNumber"), &config.port_number, sizeof config.port_number);
            RegCloseKey(port);
            if (whole) lines.push_back(line(name, config));
        }
        RegCloseKey(ports);
        return lines;
    }
    void expect_agreement() {
        Lines list = listed();
        Lines registry = stored();
        std::sort(list.begin(), list.end());
        std::sort(registry.begin(), registry.end());
        EXPECT_EQ(list, registry);
    }

  private:
    static bool query(HKEY key, LPCWSTR name, void* data, DWORD size) {
        return RegQueryValueExW(key, name, nullptr, nullptr, static_cast<BYTE*>(data), &size) == ERROR_SUCCESS;
    }
    static std::string line(const Text& name, const PortConfig& config) {
        return host::to_utf8(name) + "|" + host::to_utf8(tsmon::FieldText(config.printer_address).text) + "|" +
               std::to_string(config.port_number);
    }
};

}  // namespace test
