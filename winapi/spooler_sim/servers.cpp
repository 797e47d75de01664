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

void add_monitor(const Text& name, MONITOR2* monitor, HANDLE handle, const Text& server) {
    const std::lock_guard lock(state().mutex);
    state().monitors.push_back({name, monitor, handle, server});
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
    *needed = 0;
    *returned = 0;
    for (const Text& name : names) *needed += static_cast<DWORD>(sizeof(MONITOR_INFO_1W)) + packed_size(name);
    if (size < *needed) return ERROR_INSUFFICIENT_BUFFER;
    TextPacker texts(buffer, size);
    for (const Text& name : names) {
        reinterpret_cast<MONITOR_INFO_1W*>(buffer)[(*returned)++].pName = texts.place(name);
    }
    return 0;
}

namespace {

// Whether a printer's name says that it belongs to the server.
bool belongs_to(const PrinterRecord& printer, const Text& server) {
    const Text prefix = server + W("\\");
    if (server.empty()) return printer.name.rfind(W("\\\\"), 0) != 0;
    return printer.name.size() > prefix.size() && same_name(printer.name.substr(0, prefix.size()), prefix);
}

}  // namespace

DWORD enum_printers(DWORD flags, LPCWSTR server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed,
                    DWORD* returned) {
    if (needed == nullptr || returned == nullptr) return ERROR_INVALID_PARAMETER;
    if (level != 2) return ERROR_INVALID_LEVEL;
    if (flags != PRINTER_ENUM_LOCAL && flags != PRINTER_ENUM_NAME) return ERROR_INVALID_PARAMETER;
    const std::lock_guard lock(state().mutex);
    Text name;
    if (!find_server(flags == PRINTER_ENUM_NAME ? server : nullptr, name)) return RPC_S_SERVER_UNAVAILABLE;
    std::vector<const PrinterRecord*> printers;
    *needed = 0;
    *returned = 0;
    for (const auto& [key, printer] : state().printers) {
        if (!belongs_to(printer, name)) continue;
        printers.push_back(&printer);
        *needed += static_cast<DWORD>(sizeof(PRINTER_INFO_2W)) + packed_size(printer.name) + packed_size(printer.port);
    }
    if (size < *needed) return ERROR_INSUFFICIENT_BUFFER;
    TextPacker texts(buffer, size);
    for (const PrinterRecord* const printer : printers) {
        PRINTER_INFO_2W& info = reinterpret_cast<PRINTER_INFO_2W*>(buffer)[(*returned)++];
        std::memset(&info, 0, sizeof info);
        info.pPrinterName = texts.place(printer->name);
        info.pPortName = texts.place(printer->port);
        info.Status = printer->status;
    }
    return 0;
}

}  // namespace spooler_sim
