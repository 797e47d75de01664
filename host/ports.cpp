#include "host/ports.h"

#include <algorithm>

#include "host/setup.h"

namespace host {
namespace {

bool query(HKEY key, LPCWSTR name, void* data, DWORD size) {
    return RegQueryValueExW(key, name, nullptr, nullptr, static_cast<BYTE*>(data), &size) == ERROR_SUCCESS;
}

}  // namespace

PortConfig port_config(const Text& name, const Text& address, DWORD number) {
    PortConfig config = {};
    std::copy_n(address.begin(), std::min(address.size(), tsmon::kPrinterAddressSize), config.printer_address);
    std::copy_n(name.begin(), std::min(name.size(), tsmon::kPortNameSize), config.port_name);
    config.port_number = number;
    return config;
}

std::string to_line(const PortConfig& config) {
    return to_utf8(tsmon::FieldText(config.port_name).text) + "|" +
           to_utf8(tsmon::FieldText(config.printer_address).text) + "|" + std::to_string(config.port_number);
}

DWORD send_config(const MonitorHost& monitor, LPCWSTR command, const PortConfig& config, ACCESS_MASK access) {
    return Xcv(monitor, W(""), access).send(command, &config, sizeof config);
}

DWORD send_name(const MonitorHost& monitor, LPCWSTR command, const Text& name, ACCESS_MASK access) {
    const auto size = static_cast<DWORD>((name.size() + 1) * sizeof(WCHAR));
    return Xcv(monitor, W(""), access).send(command, name.c_str(), size);
}

DWORD read_config(const MonitorHost& monitor, const Text& name, PortConfig& config) {
    return Xcv(monitor, name, SERVER_ACCESS_ADMINISTER).send(W("TSGetConfigInfo"), nullptr, 0, &config, sizeof config);
}

std::vector<PortConfig> listed_ports(const MonitorHost& monitor) {
    DWORD needed = 0;
    DWORD count = 0;
    const auto enumerate = [&](BYTE* buffer, DWORD size) {
        return monitor.table()->pfnEnumPorts(monitor.monitor(), nullptr, 1, buffer, size, &needed, &count);
    };
    enumerate(nullptr, 0);
    std::vector<BYTE> buffer(needed);
    if (!enumerate(buffer.data(), needed)) return {};
    std::vector<PortConfig> ports(count);
    for (DWORD i = 0; i < count; ++i) {
        const Text name = reinterpret_cast<const PORT_INFO_1W*>(buffer.data())[i].pName;
        if (read_config(monitor, name, ports[i]) != ERROR_SUCCESS) ports[i] = port_config(name, W("unknown"), 0);
    }
    return ports;
}

std::vector<PortConfig> stored_ports() {
    std::vector<PortConfig> ports;
    HKEY all = nullptr;
    const Text path = Text(monitor_registry_path) + W("\\Ports");
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &all) != ERROR_SUCCESS) return ports;
    WCHAR name[256];
    DWORD size = 256;
    for (DWORD i = 0; RegEnumKeyExW(all, i, name, &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS; ++i) {
        size = 256;
        HKEY port = nullptr;
        PortConfig config = port_config(name, W(""), 0);
        if (RegOpenKeyExW(all, name, 0, KEY_READ, &port) != ERROR_SUCCESS) continue;
        const bool whole = query(port, W("HostName"), config.printer_address, sizeof config.printer_address) &&
                           query(port, W("PortNumber"), &config.port_number, sizeof config.port_number);
        RegCloseKey(port);
        if (whole) ports.push_back(config);
    }
    RegCloseKey(all);
    return ports;
}

}  // namespace host
