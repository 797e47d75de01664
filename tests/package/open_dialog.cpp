// Opens the installed dialog that adds a port, says "open" once it is there, and ends with it.
#include <cstdio>
#include <string>

#include "winapi/winapi.h"

namespace {

HWND parent = nullptr;

void CALLBACK look(HWND, UINT, UINT_PTR timer, DWORD) {
    if (GetLastActivePopup(parent) == parent) return;
    KillTimer(nullptr, timer);
    std::printf("open\n");
    std::fflush(stdout);
}

}  // namespace

int main() {
    WCHAR system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    const HMODULE library = LoadLibraryW((std::wstring(system) + L"\\tsprintportmonui.dll").c_str());
    if (library == nullptr) return 1;
    const auto initialize = reinterpret_cast<MONITORUI*(WINAPI*)()>(
        reinterpret_cast<void (*)()>(GetProcAddress(library, "InitializePrintMonitorUI")));
    parent = CreateWindowW(L"STATIC", L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 400, 300, nullptr, nullptr, nullptr,
                           nullptr);
    SetTimer(nullptr, 0, 50, look);
    return initialize()->pfnAddPortUI(nullptr, parent, L"Tessaron TCP/IP Port", nullptr) ? 0 : 1;
}
