// The ports that the spooler lists.
#include <algorithm>
#include <cstring>
#include <optional>

#include "winapi/spooler_sim/functions.h"
#include "winapi/spooler_sim/state.h"

namespace spooler_sim {
namespace {

struct Port {
    Text name;
    Text monitor;
    Text description;
    DWORD type = 0;
};

// A monitor that cannot answer is left out, as the spooler does. It may take its own lock, so ours is not
// held here.
void append_ports_of(const MonitorRecord& monitor, DWORD level, std::vector<Port>& ports) {
    DWORD needed = 0;
    DWORD count = 0;
    std::vector<std::uint64_t> buffer;  // aligned for the records
    while (!monitor.table->pfnEnumPorts(monitor.handle, nullptr, level, reinterpret_cast<BYTE*>(buffer.data()),
                                        static_cast<DWORD>(buffer.size() * sizeof buffer[0]), &needed, &count)) {
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) return;
        buffer.resize(needed / sizeof buffer[0] + 1);
    }
    const auto* const names = reinterpret_cast<const PORT_INFO_1W*>(buffer.data());
    const auto* const records = reinterpret_cast<const PORT_INFO_2W*>(buffer.data());
    for (DWORD i = 0; i < count; ++i) {
        if (level == 1) {
            ports.push_back({names[i].pName, {}, {}, 0});
            continue;
        }
        ports.push_back({records[i].pPortName, records[i].pMonitorName, records[i].pDescription, records[i].fPortType});
    }
}

// False when the server does not answer.
bool ports_of(LPCWSTR server, DWORD level, std::vector<Port>& ports) {
    std::optional<MonitorRecord> monitor;
    std::vector<Text> foreign;
    std::vector<Text> standard;
    {
        const std::lock_guard lock(state().mutex);
        Text name;
        if (!find_server(server, name)) return false;
        if (const MonitorRecord* const found = monitor_of(name)) monitor = *found;
        if (name.empty()) foreign = state().foreign_ports;
        if (name.empty()) standard = state().standard_ports;
    }
    if (monitor) append_ports_of(*monitor, level, ports);
    for (const Text& name : foreign) {
        ports.push_back({name, W("Local Port"), W("Local Port"), PORT_TYPE_READ | PORT_TYPE_WRITE});
    }
    for (const Text& name : standard) {
        ports.push_back({name, W("TCPMON.DLL"), W("Standard TCP/IP Port"),
                         PORT_TYPE_READ | PORT_TYPE_WRITE | PORT_TYPE_NET_ATTACHED});
    }
    return true;
}

DWORD size_of(const Port& port, DWORD level) {
    if (level == 1) return static_cast<DWORD>(sizeof(PORT_INFO_1W)) + packed_size(port.name);
    return static_cast<DWORD>(sizeof(PORT_INFO_2W)) + packed_size(port.name) + packed_size(port.monitor) +
           packed_size(port.description);
}

void fill_ports(const std::vector<Port>& ports, DWORD level, BYTE* buffer, DWORD size) {
    TextPacker texts(buffer, size);
    for (size_t i = 0; i < ports.size(); ++i) {
        if (level == 1) {
            reinterpret_cast<PORT_INFO_1W*>(buffer)[i].pName = texts.place(ports[i].name);
            continue;
        }
        PORT_INFO_2W& record = reinterpret_cast<PORT_INFO_2W*>(buffer)[i];
        record.pPortName = texts.place(ports[i].name);
        record.pMonitorName = texts.place(ports[i].monitor);
        record.pDescription = texts.place(ports[i].description);
        record.fPortType = ports[i].type;
        record.Reserved = 0;
    }
}

}  // namespace

void add_foreign_port(const Text& name) {
    const std::lock_guard lock(state().mutex);
    state().foreign_ports.push_back(name);
}

void set_strict_port_list(bool strict) {
    std::vector<MonitorRecord> monitors;
    {
        const std::lock_guard lock(state().mutex);
        state().strict_port_list = strict;
        state().known_ports.clear();
        monitors = state().monitors;
    }
    for (const MonitorRecord& monitor : monitors) learn_ports(monitor);
}

void learn_ports(const MonitorRecord& monitor) {
    {
        const std::lock_guard lock(state().mutex);
        if (!state().strict_port_list) return;
    }
    std::vector<Port> ports;
    append_ports_of(monitor, 1, ports);
    const std::lock_guard lock(state().mutex);
    std::set<Text, NameOrder>& known = state().known_ports[monitor.server];
    known.clear();
    for (const Port& port : ports) known.insert(port.name);
}

bool knows_port(const Text& server, const Text& name) {
    if (!state().strict_port_list) return true;
    const auto is_it = [&](const Text& other) { return same_name(name, other); };
    return state().known_ports[server].contains(name) ||
           (server.empty() && (is_standard_port(name) || std::ranges::any_of(state().foreign_ports, is_it)));
}

void note_command(const Text& server, const Text& command, const Text& port) {
    if (command == W("AddPort")) state().known_ports[server].insert(port);
    if (command == W("DeletePort")) state().known_ports[server].erase(port);
}

DWORD enum_ports(LPCWSTR server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed, DWORD* returned) {
    if (needed == nullptr || returned == nullptr) return ERROR_INVALID_PARAMETER;
    if (level != 1 && level != 2) return ERROR_INVALID_LEVEL;
    std::vector<Port> ports;
    if (!ports_of(server, level, ports)) return RPC_S_SERVER_UNAVAILABLE;
    *needed = state().lists_never_fit ? size + 1 : 0;
    *returned = 0;
    for (const Port& port : ports) *needed += size_of(port, level);
    if (size < *needed) return ERROR_INSUFFICIENT_BUFFER;
    if (buffer == nullptr && *needed != 0) return ERROR_INVALID_PARAMETER;
    fill_ports(ports, level, buffer, size);
    *returned = static_cast<DWORD>(ports.size());
    return 0;
}

}  // namespace spooler_sim
