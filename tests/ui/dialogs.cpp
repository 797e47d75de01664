#include "tests/ui/dialogs.h"

#include "testbed/test_printer/net.h"

namespace ui {

std::string pictures_folder;

bool install_libraries() {
    WCHAR path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring program = path;
    const std::wstring build = program.substr(0, program.rfind(L'\\')) + L"\\..\\";
    GetSystemDirectoryW(path, MAX_PATH);
    for (const std::wstring file :
         {L"bin\\tsprintportmonui.dll", L"bin\\tsprintportmon.dll", L"spooler\\thin_monitor.dll"}) {
        const std::wstring to = path + file.substr(file.rfind(L'\\'));
        if (!CopyFileW((build + file).c_str(), to.c_str(), FALSE)) return false;
    }
    return true;
}

HMODULE library() {
    static const HMODULE loaded = LoadLibraryW(L"tsprintportmonui.dll");
    return loaded;
}

const MONITORUI& functions() {
    using Initialize = MONITORUI* WINAPI();
    static const MONITORUI* const found = reinterpret_cast<Initialize*>(
        reinterpret_cast<void (*)()>(GetProcAddress(library(), "InitializePrintMonitorUI")))();
    return *found;
}

std::unique_ptr<Desk> add_port(const WCHAR* server) {
    return std::make_unique<Desk>(
        [=](HWND window) { return functions().pfnAddPortUI(server, window, L"Tessaron TCP/IP Port", nullptr); });
}

std::unique_ptr<Desk> configure_port(const WCHAR* port, const WCHAR* server) {
    return std::make_unique<Desk>([=](HWND window) { return functions().pfnConfigurePortUI(server, window, port); });
}

std::unique_ptr<Desk> delete_port(const WCHAR* port, const WCHAR* server) {
    return std::make_unique<Desk>([=](HWND window) { return functions().pfnDeletePortUI(server, window, port); });
}

// Values are small multiples of four, given out from the lowest one on.
size_t handles() {
    size_t count = 0;
    ULONG_PTR last = 0;
    for (ULONG_PTR value = 4; value < last + 4 * 512; value += 4) {
        DWORD flags = 0;
        if (!GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags))
            continue;  // NOLINT(performance-no-int-to-ptr)
        last = value;
        ++count;
    }
    return count;
}

size_t memory() {
    size_t bytes = 0;
    PROCESS_HEAP_ENTRY entry{};
    HeapLock(GetProcessHeap());
    while (HeapWalk(GetProcessHeap(), &entry)) {
        if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
    }
    HeapUnlock(GetProcessHeap());
    return bytes;
}

ptrdiff_t kept_by_heap(int threads) {
    constexpr ULONG kLowFragmentation = 2;
    ULONG kind = 0;
    HeapQueryInformation(GetProcessHeap(), HeapCompatibilityInformation, &kind, sizeof kind, nullptr);
    return kind == kLowFragmentation ? 1600 * ptrdiff_t{threads} : 0;
}

void Dialogs::take(HWND dialog, const std::string& name) {
    if (pictures_folder.empty()) return;
    const HDC screen = GetDC(nullptr);
    const std::string file =
        pictures_folder + "/" + name + "-" + std::to_string(GetDeviceCaps(screen, LOGPIXELSX)) + ".png";
    ReleaseDC(nullptr, screen);
    EXPECT_TRUE(take_picture(dialog, std::wstring(file.begin(), file.end()))) << file;
}

SilentPrinter::SilentPrinter() {
    std::string why;
    listener_ = static_cast<SOCKET>(test_printer::net::bind_to("127.0.0.1", 0, why));
    sockaddr_in address = {};
    int size = sizeof address;
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    port = ntohs(address.sin_port);
    queued_ = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    EXPECT_EQ(listen(listener_, 0), 0);
    EXPECT_EQ(connect(queued_, reinterpret_cast<sockaddr*>(&address), size), 0) << why;
}

SilentPrinter::~SilentPrinter() {
    closesocket(queued_);
    closesocket(listener_);
}

}  // namespace ui
