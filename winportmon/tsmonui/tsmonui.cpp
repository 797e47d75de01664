// The port dialogs: what Windows calls when a port of the monitor is added, configured or deleted in its own windows.
// It runs in the administrator's program, which may be on another machine than the print server.
#include "winportmon/contract/names.h"
#include "winportmon/contract/port_config.h"
#include "winportmon/tsmonui/channel.h"
#include "winportmon/tsmonui/delete_dialog.h"
#include "winportmon/tsmonui/dialog.h"
#include "winportmon/tsmonui/port_dialog.h"
#include "winportmon/tsmonui/resource.h"

namespace tsmonui {
namespace {

// Nothing is done without a window: there is nobody to ask.
bool CanShowDialogs(HWND window) {
    return window != nullptr && IsWindow(window);
}

DWORD TellFailure(HWND window, UINT title, const Server& server, const Text& text, DWORD error) {
    Tell(window, TitleFor(title, server), text);
    return error;
}

// For the caller, who frees it with LocalFree; null when there is no memory for it.
WCHAR* Copy(const WCHAR* text) {
    const int size = lstrlenW(text) + 1;
    auto* const copy = static_cast<WCHAR*>(LocalAlloc(LMEM_FIXED, static_cast<size_t>(size) * sizeof(WCHAR)));
    if (copy != nullptr) lstrcpynW(copy, text, size);
    return copy;
}

DWORD AddPort(const Server& server, HWND window, const WCHAR* monitor, WCHAR** added) {
    {
        // A user who may not add ports is told before anything is typed.
        Channel channel;
        const DWORD error = channel.OpenMonitor(server, monitor, Channel::kAdminister);
        if (error != ERROR_SUCCESS) {
            return TellFailure(window, IDS_ADD_TITLE, server, ChannelFailure(error, server, nullptr), error);
        }
    }
    PortDialog dialog(server, monitor);
    const DWORD error = dialog.Show(window);
    if (error == ERROR_SUCCESS && added != nullptr) *added = Copy(dialog.config().port_name);
    return error;
}

DWORD ConfigurePort(const Server& server, HWND window, const WCHAR* port) {
    contract::PortConfig config = {};
    {
        Channel channel;
        DWORD error = channel.OpenPort(server, port, Channel::kAdminister);
        if (error == ERROR_SUCCESS) error = channel.Send(contract::kGetConfigInfo, nullptr, 0, &config, sizeof config);
        if (error != ERROR_SUCCESS) {
            return TellFailure(window, IDS_CONFIGURE_TITLE, server, ChannelFailure(error, server, port), error);
        }
    }
    return PortDialog(server, contract::kMonitorName, config).Show(window);
}

DWORD DeletePort(const Server& server, HWND window, const WCHAR* port) {
    Channel channel;
    DWORD error = channel.OpenPort(server, port, Channel::kAdminister);
    if (error != ERROR_SUCCESS) {
        return TellFailure(window, IDS_DELETE_TITLE, server, ChannelFailure(error, server, port), error);
    }
    channel.Close();
    error = AskToDelete(window, server, port);
    if (error != ERROR_SUCCESS) return error;
    error = channel.OpenPort(server, port, Channel::kAdminister);
    if (error == ERROR_SUCCESS) {
        error = channel.Send(contract::kDeletePort, port, (static_cast<size_t>(lstrlenW(port)) + 1) * sizeof(WCHAR));
    }
    if (error == ERROR_SUCCESS) return error;
    const bool gone_or_denied = error == ERROR_FILE_NOT_FOUND || error == ERROR_ACCESS_DENIED;
    const Text text = gone_or_denied ? ChannelFailure(error, server, port)
                                     : TableText(IDS_NOT_DELETED, ErrorText(error), NumberText(error));
    return TellFailure(window, IDS_DELETE_TITLE, server, text, error);
}

BOOL Answer(DWORD error) {
    if (error == ERROR_SUCCESS) return TRUE;
    SetLastError(error);
    return FALSE;
}

BOOL WINAPI AddPortUI(PCWSTR server_name, HWND window, PCWSTR monitor_name, PWSTR* added) {
    if (added != nullptr) *added = nullptr;
    if (!CanShowDialogs(window)) return Answer(ERROR_INVALID_WINDOW_HANDLE);
    const bool named = monitor_name != nullptr && monitor_name[0] != 0;
    DWORD error;
    {
        const DialogSurroundings surroundings;
        error = AddPort(Server(server_name), window, named ? monitor_name : contract::kMonitorName, added);
    }
    return Answer(error);
}

BOOL ShowDialogOf(decltype(ConfigurePort)* dialog, PCWSTR server_name, HWND window, PCWSTR port) {
    if (!CanShowDialogs(window)) return Answer(ERROR_INVALID_WINDOW_HANDLE);
    if (port == nullptr || port[0] == 0) return Answer(ERROR_INVALID_PARAMETER);
    DWORD error;
    {
        const DialogSurroundings surroundings;
        error = dialog(Server(server_name), window, port);
    }
    return Answer(error);
}

BOOL WINAPI ConfigurePortUI(PCWSTR server_name, HWND window, PCWSTR port) {
    return ShowDialogOf(ConfigurePort, server_name, window, port);
}

BOOL WINAPI DeletePortUI(PCWSTR server_name, HWND window, PCWSTR port) {
    return ShowDialogOf(DeletePort, server_name, window, port);
}

MONITORUI functions = {sizeof(MONITORUI), AddPortUI, ConfigurePortUI, DeletePortUI};

}  // namespace
}  // namespace tsmonui

// The one export: the dialogs' functions, valid while the library is loaded.
extern "C" MONITORUI* WINAPI InitializePrintMonitorUI() {
    return &tsmonui::functions;
}

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void*) {
    if (reason == DLL_PROCESS_ATTACH) {
        tsmonui::module_instance = instance;
        DisableThreadLibraryCalls(instance);
    }
    return TRUE;
}
