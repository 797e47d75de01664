// Windows' Standard TCP/IP monitor: its ports in the registry and in the spooler's list, and its commands.
#include <algorithm>

#include "winapi/spooler_sim/state.h"
#include "winapi/tcpxcv.h"

namespace spooler_sim {
namespace {

const Text ports_key = W("SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard TCP/IP Port\\Ports\\");

// Ends at the first value that fails.
DWORD store(const StandardPort& port) {
    HKEY key = nullptr;
    LSTATUS status = RegCreateKeyExW(HKEY_LOCAL_MACHINE, (ports_key + port.name).c_str(), 0, nullptr,
                                     REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    if (status != ERROR_SUCCESS) return static_cast<DWORD>(status);
    const std::pair<LPCWSTR, DWORD> numbers[] = {{W("Protocol"), port.protocol}, {W("Version"), 1},
                                                 {W("PortNumber"), port.number}, {W("SNMP Enabled"), 0},
                                                 {W("SNMP Index"), 1},           {W("PortMonMibPortIndex"), 0}};
    for (const auto& [name, number] : numbers) {
        if (status != ERROR_SUCCESS) break;
        status = RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
    }
    const std::pair<LPCWSTR, Text> texts[] = {{W("HostName"), port.host},
                                              {W("IPAddress"), port.ip_address},
                                              {W("HWAddress"), Text()},
                                              {W("SNMP Community"), W("public")}};
    for (const auto& [name, text] : texts) {
        if (status != ERROR_SUCCESS) break;
        status = RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()), packed_size(text));
    }
    RegCloseKey(key);
    return static_cast<DWORD>(status);
}

// A port that a printer prints to stays, as the spooler sees to it.
DWORD remove(const Text& name) {
    {
        const std::lock_guard lock(state().mutex);
        if (!is_standard_port(name)) return ERROR_UNKNOWN_PORT;
        const auto prints_to_it = [&](const auto& printer) { return same_name(printer.second.port, name); };
        if (std::ranges::any_of(state().printers, prints_to_it)) return ERROR_BUSY;
        std::erase_if(state().standard_ports, [&](const Text& port) { return same_name(port, name); });
    }
    return static_cast<DWORD>(RegDeleteKeyW(HKEY_LOCAL_MACHINE, (ports_key + name).c_str()));
}

}  // namespace

bool is_standard_port(const Text& name) {
    return std::ranges::any_of(state().standard_ports, [&](const Text& port) { return same_name(port, name); });
}

DWORD standard_command(const Text& command, const BYTE* input, DWORD size) {
    const bool adds = command == W("AddPort");
    if (!adds && command != W("DeletePort")) return ERROR_INVALID_PARAMETER;
    if (input == nullptr || size < (adds ? sizeof(PORT_DATA_1) : sizeof(DELETE_PORT_DATA_1))) return ERROR_INVALID_DATA;
    if (!adds) {
        const auto& deleted = *reinterpret_cast<const DELETE_PORT_DATA_1*>(input);
        return deleted.dwVersion != 1 ? ERROR_INVALID_LEVEL : remove(deleted.psztPortName);
    }
    const auto& added = *reinterpret_cast<const PORT_DATA_1*>(input);
    if (added.dwVersion != 1) return ERROR_INVALID_LEVEL;
    return add_standard_port(
        {added.sztPortName, added.sztHostAddress, added.sztIPAddress, added.dwPortNumber, added.dwProtocol});
}

DWORD add_standard_port(const StandardPort& port) {
    {
        const std::lock_guard lock(state().mutex);
        if (is_standard_port(port.name)) return ERROR_ALREADY_EXISTS;
    }
    const DWORD error = store(port);
    const std::lock_guard lock(state().mutex);
    if (error == ERROR_SUCCESS) state().standard_ports.push_back(port.name);
    return error;
}

void restart_standard_monitor() {
    const std::lock_guard lock(state().mutex);
    state().standard_ports.clear();
    HKEY parent = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, ports_key.c_str(), 0, KEY_READ, &parent) != ERROR_SUCCESS) return;
    WCHAR name[256] = {};
    DWORD length = 256;
    for (DWORD i = 0; RegEnumKeyExW(parent, i, name, &length, nullptr, nullptr, nullptr, nullptr) == 0; ++i) {
        HKEY key = nullptr;
        length = 256;
        if (RegOpenKeyExW(parent, name, 0, KEY_READ, &key) != ERROR_SUCCESS) continue;
        // The value that is stored last.
        DWORD size = 0;
        if (RegQueryValueExW(key, W("SNMP Community"), nullptr, nullptr, nullptr, &size) == ERROR_SUCCESS) {
            state().standard_ports.emplace_back(name);
        }
        RegCloseKey(key);
    }
    RegCloseKey(parent);
}

void delete_standard_ports() {
    for (const Text& name : state().standard_ports) RegDeleteKeyW(HKEY_LOCAL_MACHINE, (ports_key + name).c_str());
    state().standard_ports.clear();
}

}  // namespace spooler_sim
