#include "host/ports.h"

#include <algorithm>

namespace host {
namespace {

bool query(HKEY key, LPCWSTR name, void* data, DWORD size) {
    return RegQueryValueExW(key, name, nullptr, nullptr, static_cast<BYTE*>(data), &size) == ERROR_SUCCESS;
}

}  // namespace

Xcv::Xcv(const MonitorHost& monitor, const Text& object, ACCESS_MASK access) : table_(monitor.table()) {
    if (!table_->pfnXcvOpenPort(monitor.monitor(), object.c_str(), access, &handle_)) handle_ = nullptr;
}

Xcv::~Xcv() {
    if (handle_ != nullptr) table_->pfnXcvClosePort(handle_);
}

DWORD Xcv::send(LPCWSTR command, const void* input, DWORD input_size, void* output, DWORD output_size,
                DWORD* needed) const {
    if (handle_ == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    DWORD unused = 0;
    return table_->pfnXcvDataPort(handle_, command, static_cast<BYTE*>(const_cast<void*>(input)), input_size,
                                  static_cast<BYTE*>(output), output_size, needed != nullptr ? needed : &unused);
}

PortConfig port_config(const Text& name, const Text& address, DWORD number) {
    PortConfig config = {};
    std::copy_n(address.begin(), std::min(address.size(), contract::kPrinterAddressSize), config.printer_address);
    std::copy_n(name.begin(), std::min(name.size(), contract::kPortNameSize), config.port_name);
    config.port_number = number;
    return config;
}

std::string to_line(const PortConfig& config) {
    return to_utf8(contract::FieldText(config.port_name).text) + "|" +
           to_utf8(contract::FieldText(config.printer_address).text) + "|" + std::to_string(config.port_number);
}

DWORD send_config(const MonitorHost& monitor, LPCWSTR command, const PortConfig& config, ACCESS_MASK access) {
    return Xcv(monitor, W(""), access).send(command, &config, sizeof config);
}

DWORD send_name(const MonitorHost& monitor, LPCWSTR command, const Text& name, ACCESS_MASK access) {
    const auto size = static_cast<DWORD>((name.size() + 1) * sizeof(WCHAR));
    return Xcv(monitor, W(""), access).send(command, name.c_str(), size);
}

DWORD read_config(const MonitorHost& monitor, const Text& name, PortConfig& config) {
    return Xcv(monitor, name, SERVER_ACCESS_ADMINISTER)
        .send(contract::kGetConfigInfo, nullptr, 0, &config, sizeof config);
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

bool read_stored_ports(std::vector<PortConfig>& ports, HKEY hive, const Text& monitor_key) {
    HKEY all = nullptr;
    const Text path = monitor_key + W("\\") + contract::kPortsKey;
    if (RegOpenKeyExW(hive, path.c_str(), 0, KEY_READ, &all) != ERROR_SUCCESS) return true;
    bool all_whole = true;
    WCHAR name[256];
    DWORD size = 256;
    for (DWORD i = 0; RegEnumKeyExW(all, i, name, &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS; ++i) {
        size = 256;
        HKEY port = nullptr;
        PortConfig config = port_config(name, W(""), 0);
        bool whole = RegOpenKeyExW(all, name, 0, KEY_READ, &port) == ERROR_SUCCESS;
        whole = whole && query(port, contract::kHostNameValue, config.printer_address, sizeof config.printer_address) &&
                query(port, contract::kPortNumberValue, &config.port_number, sizeof config.port_number);
        if (port != nullptr) RegCloseKey(port);
        if (whole) ports.push_back(config);
        all_whole = all_whole && whole;
    }
    RegCloseKey(all);
    return all_whole;
}

std::vector<PortConfig> stored_ports() {
    std::vector<PortConfig> ports;
    read_stored_ports(ports);
    return ports;
}

}  // namespace host
