#include "winportmon/tsmonui/probe.h"

#include <new>

namespace tsmonui {

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
    const tsmon::PortConfig config;
    const DWORD limit_ms;
    ProbeResult result = {Verdict::not_done, ERROR_SUCCESS};
    HANDLE stop = nullptr;  // an event, set when the dialog gives up
    SRWLOCK lock = SRWLOCK_INIT;
    HWND window;  // null once the dialog has cancelled; guarded by the lock
    const UINT message;
    const WPARAM ticket;
    volatile LONG owners = 1;
    HMODULE library = nullptr;  // keeps this code loaded until the thread has ended
};

namespace {

constexpr DWORD kNoAnswer = WSAETIMEDOUT;

void Release(Probe* probe) {
    if (InterlockedDecrement(&probe->owners) != 0) return;
    if (probe->stop != nullptr) CloseHandle(probe->stop);
    probe->~Probe();
    HeapFree(GetProcessHeap(), 0, probe);
}

// Tries one of the printer's addresses until the deadline. 0, or a Winsock error.
DWORD Connect(const ADDRINFOW* target, HANDLE stop, ULONGLONG deadline) {
    const SOCKET socket =
        WSASocketW(target->ai_family, target->ai_socktype, target->ai_protocol, nullptr, 0, WSA_FLAG_OVERLAPPED);
    if (socket == INVALID_SOCKET) return static_cast<DWORD>(WSAGetLastError());
    DWORD error = kNoAnswer;
    const WSAEVENT connected = WSACreateEvent();
    // The socket no longer blocks once it has an event.
    if (connected == WSA_INVALID_EVENT || WSAEventSelect(socket, connected, FD_CONNECT) != 0) {
        error = static_cast<DWORD>(WSAGetLastError());
    } else if (connect(socket, target->ai_addr, static_cast<int>(target->ai_addrlen)) == 0) {
        error = 0;
    } else if (WSAGetLastError() != WSAEWOULDBLOCK) {
        error = static_cast<DWORD>(WSAGetLastError());
    } else {
        const ULONGLONG now = GetTickCount64();
        const HANDLE events[] = {connected, stop};
        const DWORD wait = now < deadline ? static_cast<DWORD>(deadline - now) : 0;
        WSANETWORKEVENTS happened = {};
        if (WaitForMultipleObjects(2, events, FALSE, wait) == WAIT_OBJECT_0 &&
            WSAEnumNetworkEvents(socket, connected, &happened) == 0) {
            error = static_cast<DWORD>(happened.iErrorCode[FD_CONNECT_BIT]);
        }
    }
    closesocket(socket);
    if (connected != WSA_INVALID_EVENT) WSACloseEvent(connected);
    return error;
}

ProbeResult InWords(DWORD error) {
    switch (error) {
        case 0:
            return {Verdict::accepted, 0};
        case WSAECONNREFUSED:
            return {Verdict::refused, error};
        case WSAETIMEDOUT:
            return {Verdict::no_answer, error};
        default:
            return {Verdict::failed, error};
    }
}

// As the monitor does it: all addresses of the name, in their order, until one answers.
ProbeResult TryFromHere(const Probe& probe) {
    ADDRINFOW hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    ADDRINFOW* targets = nullptr;
    const int lookup =
        GetAddrInfoW(probe.config.printer_address, NumberText(probe.config.port_number).c_str(), &hints, &targets);
    if (lookup == WSAHOST_NOT_FOUND || lookup == WSANO_DATA) {
        return {Verdict::name_unknown, static_cast<DWORD>(lookup)};
    }
    if (lookup != 0) return {Verdict::failed, static_cast<DWORD>(lookup)};
    const ULONGLONG deadline = GetTickCount64() + probe.limit_ms;
    DWORD error = kNoAnswer;
    for (const ADDRINFOW* target = targets; target != nullptr && error != 0; target = target->ai_next) {
        if (WaitForSingleObject(probe.stop, 0) == WAIT_OBJECT_0) break;
        error = Connect(target, probe.stop, deadline);
    }
    FreeAddrInfoW(targets);
    return InWords(error);
}

ProbeResult AskServer(const Probe& probe) {
    Channel channel;
    DWORD error = channel.OpenMonitor(probe.server, probe.monitor.c_str(), Channel::kEnumerate);
    if (error != ERROR_SUCCESS) return {Verdict::not_done, error};
    error = channel.Send(W("TSPortIsValid"), &probe.config, sizeof probe.config);
    if (error == ERROR_SUCCESS) return {Verdict::accepted, 0};
    if (error == ERROR_INVALID_FUNCTION) return {Verdict::server_says_no, error};
    return {Verdict::not_done, error};
}

ProbeResult Test(const Probe& probe) {
    if (!probe.server.is_this_computer()) return AskServer(probe);
    WSADATA data = {};
    const int error = WSAStartup(MAKEWORD(2, 2), &data);
    if (error != 0) return {Verdict::not_done, static_cast<DWORD>(error)};
    const ProbeResult result = TryFromHere(probe);
    WSACleanup();
    return result;
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
    probe->stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (probe->stop == nullptr) return false;
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
    SetEvent(probe->stop);
    Release(probe);
}

}  // namespace tsmonui
