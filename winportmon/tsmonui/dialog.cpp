#include "winportmon/tsmonui/dialog.h"

#include "winportmon/tsmonui/resource.h"

namespace tsmonui {
namespace {

constexpr ULONG kManifest = 2;
constexpr DWORD kLiveRegionChanged = 0x8019;  // EVENT_OBJECT_LIVEREGIONCHANGED

// Exists from Windows 10 on; null for what it does not know, and then it changes nothing.
void* SetResolution(void* context) {
    using Function = void*(WINAPI*)(void*);
    const HMODULE user = GetModuleHandleW(W("user32.dll"));
    if (user == nullptr) return nullptr;
    const auto set =
        reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(user, "SetThreadDpiAwarenessContext")));
    return set != nullptr ? set(context) : nullptr;
}

void* PerMonitor() {
    return reinterpret_cast<void*>(static_cast<INT_PTR>(-4));  // DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2
}

}  // namespace

DialogSurroundings::DialogSurroundings() {
    ACTCTXW context = {};
    context.cbSize = sizeof context;
    context.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
    context.hModule = module_instance;
    context.lpResourceName = MAKEINTRESOURCEW(kManifest);
    look_ = CreateActCtxW(&context);
    if (look_ != INVALID_HANDLE_VALUE && !ActivateActCtx(look_, &cookie_)) cookie_ = 0;
    resolution_ = SetResolution(PerMonitor());
}

DialogSurroundings::~DialogSurroundings() {
    if (resolution_ != nullptr) SetResolution(resolution_);
    if (cookie_ != 0) DeactivateActCtx(0, cookie_);
    if (look_ != INVALID_HANDLE_VALUE) ReleaseActCtx(look_);
}

DWORD RunDialog(int id, HWND owner, DLGPROC procedure, LPARAM parameter) {
    SetLastError(ERROR_SUCCESS);
    const INT_PTR end = DialogBoxParamW(module_instance, MAKEINTRESOURCEW(id), owner, procedure, parameter);
    if (end == IDOK) return ERROR_SUCCESS;
    if (end == IDCANCEL) return ERROR_CANCELLED;
    const DWORD error = GetLastError();
    return error != ERROR_SUCCESS ? error : ERROR_GEN_FAILURE;
}

void Say(HWND dialog, int control, const Text& text) {
    const HWND window = GetDlgItem(dialog, control);
    WCHAR before[Text::kSize] = {};
    GetWindowTextW(window, before, Text::kSize);
    if (CompareStringOrdinal(before, -1, text.c_str(), -1, FALSE) == CSTR_EQUAL) return;
    SetWindowTextW(window, text.c_str());
    NotifyWinEvent(kLiveRegionChanged, window, OBJID_CLIENT, CHILDID_SELF);
}

Text TitleFor(UINT id, const Server& server) {
    return server.is_this_computer() ? TableText(id) : TableText(id + 1, server.name());
}

void Tell(HWND owner, const Text& title, const Text& text, UINT icon) {
    MessageBoxW(owner, text.c_str(), title.c_str(), MB_OK | icon);
}

Text ChannelFailure(DWORD error, const Server& server, const WCHAR* port) {
    if (error == ERROR_ACCESS_DENIED) return TableText(IDS_NO_ACCESS, server.InWords());
    const bool unknown = error == ERROR_INVALID_PRINTER_NAME || error == ERROR_UNKNOWN_PORT ||
                         error == ERROR_INVALID_PARAMETER || error == ERROR_FILE_NOT_FOUND;
    if (port != nullptr && unknown) return TableText(IDS_NO_PORT, Text(port), server.InWords());
    return TableText(IDS_NO_SERVER, server.InWords(), ErrorText(error), NumberText(error));
}

}  // namespace tsmonui
