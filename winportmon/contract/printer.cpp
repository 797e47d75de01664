#include "winportmon/contract/printer.h"

#include <algorithm>

namespace contract {
namespace {

constexpr size_t kServiceSize = 6;        // five digits and a terminator
constexpr uint32_t kConnectSeconds = 21;  // after which Windows gives up an address, unless it is set up otherwise
constexpr DWORD kSliceMs = 100;           // of a wait, between two looks at *stop
constexpr WORD kWinsockVersion = 0x0202;

// The port number as the service name of a lookup; false when it is no TCP port.
bool FormatService(uint32_t port_number, WCHAR (&service)[kServiceSize]) {
    if (port_number > kLargestPortNumber) return false;
    WCHAR digits[kServiceSize];
    size_t count = 0;
    do {
        digits[count++] = static_cast<WCHAR>(W('0') + port_number % 10);
        port_number /= 10;
    } while (port_number != 0);
    std::reverse_copy(digits, digits + count, service);
    service[count] = 0;
    return true;
}

}  // namespace

int LookUpPrinter(const WCHAR* address, uint32_t port_number, ADDRINFOW** found) {
    WCHAR service[kServiceSize];
    if (address[0] == 0) return WSAHOST_NOT_FOUND;  // Windows takes an empty name for this server itself
    if (!FormatService(port_number, service)) return WSATYPE_NOT_FOUND;
    ADDRINFOW hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    return GetAddrInfoW(address, service, &hints, found);
}

PrinterProbe::~PrinterProbe() {
    for (uint32_t i = 0; i < check_.addresses; ++i) {
        if (sockets_[i] != INVALID_SOCKET) closesocket(sockets_[i]);
    }
    if (started_) WSACleanup();
}

void PrinterProbe::Start(const WCHAR* address, uint32_t port_number) {
    WSADATA data = {};
    ADDRINFOW* targets = nullptr;
    int error = WSAStartup(kWinsockVersion, &data);
    started_ = error == 0;
    if (started_) error = LookUpPrinter(address, port_number, &targets);
    check_.error = static_cast<DWORD>(error);
    const bool unknown = error == WSAHOST_NOT_FOUND || error == WSANO_DATA || error == WSATRY_AGAIN;
    if (started_ && unknown) check_.verdict = Verdict::unknown_name;
    ended_ = error != 0;
    if (ended_) return;
    for (const ADDRINFOW* target = targets; target != nullptr && check_.addresses < kMostAddresses;
         target = target->ai_next) {
        const uint32_t i = check_.addresses++;
        u_long non_blocking = 1;
        sockets_[i] = WSASocketW(target->ai_family, target->ai_socktype, target->ai_protocol, nullptr, 0,
                                 WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
        const bool connected = sockets_[i] != INVALID_SOCKET &&
                               ioctlsocket(sockets_[i], static_cast<long>(FIONBIO), &non_blocking) == 0 &&
                               connect(sockets_[i], target->ai_addr, static_cast<int>(target->ai_addrlen)) == 0;
        errors_[i] = connected ? 0 : WSAGetLastError();
    }
    FreeAddrInfoW(targets);
    begin_ = GetTickCount();
}

// Waits for one address. Leaves WSAEWOULDBLOCK when it has not answered yet, WSAETIMEDOUT when it is silent.
int PrinterProbe::WaitFor(uint32_t index, DWORD wait_ms, DWORD limit_ms) {
    int& error = errors_[index];
    if (error != WSAEWOULDBLOCK) return error;
    const DWORD passed = GetTickCount() - begin_;
    const bool over = passed >= limit_ms;
    timeval time = {};
    time.tv_usec = static_cast<decltype(time.tv_usec)>(over ? 0 : std::min(limit_ms - passed, wait_ms) * 1000);
    fd_set connected;
    fd_set failed;
    FD_ZERO(&connected);
    FD_ZERO(&failed);
    FD_SET(sockets_[index], &connected);
    FD_SET(sockets_[index], &failed);
    const int ready = select(0, nullptr, &connected, &failed, &time);
    int size = sizeof error;
    if (ready < 0 ||
        (ready > 0 && getsockopt(sockets_[index], SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size) != 0)) {
        error = WSAGetLastError();
    }
    if (ready == 0 && over) error = WSAETIMEDOUT;
    return error;
}

bool PrinterProbe::Wait(DWORD wait_ms, DWORD limit_ms) {
    while (!ended_ && next_ < check_.addresses) {
        const int error = WaitFor(next_, wait_ms, limit_ms);
        if (error == WSAEWOULDBLOCK) return false;
        ++next_;
        check_.error = static_cast<DWORD>(error);
        if (error == 0) {
            check_.verdict = Verdict::accepted;
            check_.wait_seconds = check_.silent * kConnectSeconds;
            return ended_ = true;
        }
        refused_ = refused_ || error == WSAECONNREFUSED;
        if (error == WSAETIMEDOUT) ++check_.silent;
    }
    if (!ended_)
        check_.verdict = refused_ ? Verdict::refused : check_.silent > 0 ? Verdict::no_answer : Verdict::failed;
    return ended_ = true;
}

PrinterCheck CheckPrinter(const WCHAR* address, uint32_t port_number, DWORD limit_ms, const std::atomic<bool>* stop) {
    PrinterProbe probe;
    probe.Start(address, port_number);
    while (!probe.Wait(kSliceMs, stop != nullptr && *stop ? 0 : limit_ms)) {
    }
    return probe.check();
}

}  // namespace contract
