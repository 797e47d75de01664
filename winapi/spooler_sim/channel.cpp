#include "winapi/spooler_sim/channel.h"

#include "winapi/spooler_sim/functions.h"
#include "winapi/spooler_sim/state.h"

namespace spooler_sim {
namespace {

thread_local Text server_of_thread;

const MonitorRecord standard_monitor = {W("Standard TCP/IP Port"), nullptr, nullptr, Text()};

// What follows the marker, a blank and the end of the text.
bool ends_with_object(const Text& name, const Text& marker, Text& object) {
    const size_t place = name.find(marker);
    if (place == Text::npos) return false;
    object = name.substr(place + marker.size());
    return true;
}

// The monitor that the name denotes, and the object passed to it.
DWORD find_object(const Text& name, ACCESS_MASK access, MonitorRecord& monitor, Text& object) {
    const std::lock_guard lock(state().mutex);
    const size_t comma = name.find(W(','));
    Text server;
    if (!find_server(name.substr(0, comma == 0 ? 0 : comma - 1).c_str(), server)) return RPC_S_SERVER_UNAVAILABLE;
    const MonitorRecord* const found = monitor_of(server);
    const bool of_monitor = ends_with_object(name, W(",XcvMonitor "), object);
    if (!of_monitor && !ends_with_object(name, W(",XcvPort "), object)) return ERROR_INVALID_PRINTER_NAME;
    const bool standard =
        server.empty() && (of_monitor ? same_name(object, standard_monitor.name) : is_standard_port(object));
    if (!standard && (found == nullptr || (of_monitor && !same_name(object, found->name)))) {
        return ERROR_INVALID_PRINTER_NAME;
    }
    if (!of_monitor && !knows_port(server, object)) return ERROR_UNKNOWN_PORT;
    if ((access & SERVER_ACCESS_ADMINISTER) != 0 && !state().administrator) return ERROR_ACCESS_DENIED;
    monitor = standard ? standard_monitor : *found;
    return 0;
}

// The text at the beginning of a command's input, as far as that reaches.
Text text_in(const BYTE* input, DWORD size) {
    const auto* const text = reinterpret_cast<const WCHAR*>(input);
    const Text all(text, size / sizeof(WCHAR));
    return all.substr(0, all.find(WCHAR{0}));
}

}  // namespace

DWORD open_channel(const Text& name, ACCESS_MASK access, HANDLE* channel) {
    Channel opened{};
    opened.access = access;
    Text object;
    if (const DWORD error = find_object(name, access, opened.monitor, object)) return error;
    const MonitorRecord& monitor = opened.monitor;
    if (monitor.table != nullptr &&
        !monitor.table->pfnXcvOpenPort(monitor.handle, object.c_str(), access, &opened.handle)) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    const std::lock_guard lock(state().mutex);
    *channel = new_handle();
    state().channels[*channel] = opened;
    return 0;
}

bool close_channel(HANDLE channel) {
    Channel closed{};
    {
        const std::lock_guard lock(state().mutex);
        const auto found = state().channels.find(channel);
        if (found == state().channels.end()) return false;
        closed = found->second;
        state().channels.erase(found);
    }
    if (closed.monitor.table != nullptr) closed.monitor.table->pfnXcvClosePort(closed.handle);
    return true;
}

Text calling_server() {
    return server_of_thread;
}

DWORD xcv_data(HANDLE channel, LPCWSTR command, BYTE* input, DWORD input_size, BYTE* output, DWORD output_size,
               DWORD* needed, DWORD* status) {
    if (needed == nullptr || status == nullptr) return ERROR_INVALID_PARAMETER;
    Channel open{};
    {
        const std::lock_guard lock(state().mutex);
        const auto found = state().channels.find(channel);
        if (found == state().channels.end()) return ERROR_INVALID_HANDLE;
        open = found->second;
    }
    if (open.monitor.table == nullptr) {
        *needed = 0;
        *status = (open.access & SERVER_ACCESS_ADMINISTER) != 0 ? standard_command(command, input, input_size)
                                                                : ERROR_ACCESS_DENIED;
        return 0;
    }
    server_of_thread = open.monitor.server;
    *status = open.monitor.table->pfnXcvDataPort(open.handle, command, input, input_size, output, output_size, needed);
    server_of_thread.clear();
    if (*status == ERROR_SUCCESS && input != nullptr) {
        const std::lock_guard lock(state().mutex);
        note_command(open.monitor.server, command, text_in(input, input_size));
    }
    return 0;
}

}  // namespace spooler_sim
