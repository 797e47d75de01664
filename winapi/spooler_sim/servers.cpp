// Print servers: this machine's and others, their monitors and their printers.
#include <algorithm>
#include <cstring>

#include "winapi/spooler_sim/channel.h"
#include "winapi/spooler_sim/functions.h"
#include "winapi/spooler_sim/state.h"

namespace spooler_sim {

void add_server(const Text& name) {
    const std::lock_guard lock(state().mutex);
    state().servers[name] = true;
}

void stop_server(const Text& name) {
    const std::lock_guard lock(state().mutex);
    state().servers[name] = false;
}

void set_administrator(bool administrator) {
    const std::lock_guard lock(state().mutex);
    state().administrator = administrator;
}

void set_lists_never_fit(bool never) {
    const std::lock_guard lock(state().mutex);
    state().lists_never_fit = never;
}

void add_monitor(const Text& name, MONITOR2* monitor, HANDLE handle, const Text& server) {
    const MonitorRecord record{name, monitor, handle, server};
    {
        const std::lock_guard lock(state().mutex);
        state().monitors.push_back(record);
    }
    learn_ports(record);
}

void remove_monitor(HANDLE handle) {
    const std::lock_guard lock(state().mutex);
    std::erase_if(state().monitors, [&](const MonitorRecord& record) { return record.handle == handle; });
}

bool find_server(LPCWSTR name, Text& server) {
    server = name != nullptr && *name != 0 ? Text(name) : calling_server();
    if (server.empty()) return true;
    const auto found = state().servers.find(server);
    if (found == state().servers.end() || !found->second) return false;
    server = found->first;
    return true;
}

const MonitorRecord* monitor_of(const Text& server) {
    const auto found = std::find_if(state().monitors.begin(), state().monitors.end(),
                                    [&](const MonitorRecord& record) { return same_name(record.server, server); });
    return found != state().monitors.end() ? &*found : nullptr;
}

DWORD enum_monitors(LPCWSTR server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed, DWORD* returned) {
    if (needed == nullptr || returned == nullptr) return ERROR_INVALID_PARAMETER;
    if (level != 1) return ERROR_INVALID_LEVEL;
    const std::lock_guard lock(state().mutex);
    Text found;
    if (!find_server(server, found)) return RPC_S_SERVER_UNAVAILABLE;
    std::vector<Text> names = {W("Local Port")};
    if (const MonitorRecord* const monitor = monitor_of(found)) names.push_back(monitor->name);
    *needed = state().lists_never_fit ? size + 1 : 0;
    *returned = 0;
    for (const Text& name : names) *needed += static_cast<DWORD>(sizeof(MONITOR_INFO_1W)) + packed_size(name);
    if (size < *needed) return ERROR_INSUFFICIENT_BUFFER;
    TextPacker texts(buffer, size);
    for (const Text& name : names) {
        reinterpret_cast<MONITOR_INFO_1W*>(buffer)[(*returned)++].pName = texts.place(name);
    }
    return 0;
}

}  // namespace spooler_sim
