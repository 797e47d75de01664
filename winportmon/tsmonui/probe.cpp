#include "winportmon/tsmonui/probe.h"

#include <new>

#include "winportmon/contract/names.h"

namespace tsmonui {

using Answer = ProbeResult::Answer;

// Shared by the dialog and the thread; the last of them frees it.
class Probe {
  public:
    explicit Probe(const ProbeOrder& order)
        : server(order.server),
          monitor(order.monitor),
          config(order.config),
          limit_ms(order.limit_ms),
          window(order.window),
          message(order.message),
          ticket(order.ticket) {}

    const Server server;
    const Text monitor;
    const contract::PortConfig config;
    const DWORD limit_ms;
    ProbeResult result = {Answer::not_done, {}, ERROR_SUCCESS};
    std::atomic<bool> stopped = false;  // the dialog has given up
    SRWLOCK lock = SRWLOCK_INIT;
    HWND window;  // null once the dialog has cancelled; guarded by the lock
    const UINT message;
    const WPARAM ticket;
    volatile LONG owners = 1;
    HMODULE library = nullptr;  // keeps this code loaded until the thread has ended
};

namespace {

void Release(Probe* probe) {
    if (InterlockedDecrement(&probe->owners) != 0) return;
    probe->~Probe();
    HeapFree(GetProcessHeap(), 0, probe);
}

ProbeResult AskServer(const Probe& probe) {
    Channel channel;
    DWORD error = channel.OpenMonitor(probe.server, probe.monitor.c_str(), Channel::kEnumerate);
    if (error != ERROR_SUCCESS) return {Answer::not_done, {}, error};
    error = channel.Send(contract::kPortIsValid, &probe.config, sizeof probe.config);
    if (error == ERROR_SUCCESS) return {Answer::server_yes, {}, 0};
    return {error == ERROR_INVALID_FUNCTION ? Answer::server_no : Answer::not_done, {}, error};
}

ProbeResult Test(const Probe& probe) {
    if (!probe.server.is_this_computer()) return AskServer(probe);
    const contract::FieldText address(probe.config.printer_address);
    return {Answer::checked,
            contract::CheckPrinter(address.text, probe.config.port_number, probe.limit_ms, &probe.stopped), 0};
}

DWORD WINAPI RunProbe(void* parameter) {
    auto* const probe = static_cast<Probe*>(parameter);
    const HMODULE library = probe->library;
    probe->result = Test(*probe);
    AcquireSRWLockExclusive(&probe->lock);
    if (probe->window != nullptr) PostMessageW(probe->window, probe->message, probe->ticket, 0);
    ReleaseSRWLockExclusive(&probe->lock);
    Release(probe);
    FreeLibraryAndExitThread(library, 0);
}

bool StartThread(Probe* probe) {
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(RunProbe),
                            &probe->library)) {
        return false;
    }
    probe->owners = 2;
    const HANDLE thread = CreateThread(nullptr, 0, RunProbe, probe, 0, nullptr);
    if (thread != nullptr) {
        CloseHandle(thread);
        return true;
    }
    const DWORD error = GetLastError();
    probe->owners = 1;
    FreeLibrary(probe->library);
    SetLastError(error);
    return false;
}

}  // namespace

Probe* StartProbe(const ProbeOrder& order) {
    void* const memory = HeapAlloc(GetProcessHeap(), 0, sizeof(Probe));
    if (memory == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    auto* const probe = new (memory) Probe(order);
    if (StartThread(probe)) return probe;
    const DWORD error = GetLastError();
    Release(probe);
    SetLastError(error);
    return nullptr;
}

ProbeResult ResultOf(const Probe* probe) {
    return probe->result;
}

void EndProbe(Probe* probe) {
    if (probe == nullptr) return;
    AcquireSRWLockExclusive(&probe->lock);
    probe->window = nullptr;
    ReleaseSRWLockExclusive(&probe->lock);
    probe->stopped = true;
    Release(probe);
}

}  // namespace tsmonui
