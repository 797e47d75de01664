#include "winportmon/contract/printer.h"

#include <algorithm>

namespace contract {
namespace {

constexpr size_t kServiceSize = 6;        // five digits and a terminator
constexpr uint32_t kMostAddresses = 16;   // further ones are not tried
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

// A connection that is being made; closed with the object.
class Attempt {
  public:
    Attempt() = default;
    ~Attempt() {
        if (socket_ != INVALID_SOCKET) closesocket(socket_);
    }
    Attempt(const Attempt&) = delete;
    Attempt& operator=(const Attempt&) = delete;

    void Start(const ADDRINFOW& target) {
        u_long non_blocking = 1;
        socket_ = WSASocketW(target.ai_family, target.ai_socktype, target.ai_protocol, nullptr, 0,
                             WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
        const bool connected = socket_ != INVALID_SOCKET &&
                               ioctlsocket(socket_, static_cast<long>(FIONBIO), &non_blocking) == 0 &&
                               connect(socket_, target.ai_addr, static_cast<int>(target.ai_addrlen)) == 0;
        error_ = connected ? 0 : WSAGetLastError();
    }
    // Waits until the attempt has ended, at most until so long after `begin`, or *stop is set. 0 when it is connected,
    // WSAETIMEDOUT when it has not ended, or why it failed.
    int Wait(DWORD begin, DWORD limit_ms, const std::atomic<bool>* stop) {
        while (error_ == WSAEWOULDBLOCK) {
            const DWORD passed = GetTickCount() - begin;
            const bool over = passed >= limit_ms || (stop != nullptr && *stop);
            timeval time = {};
            time.tv_usec = static_cast<decltype(time.tv_usec)>(over ? 0 : std::min(limit_ms - passed, kSliceMs) * 1000);
            fd_set connected;
            fd_set failed;
            FD_ZERO(&connected);
            FD_ZERO(&failed);
            FD_SET(socket_, &connected);
            FD_SET(socket_, &failed);
            const int ready = select(0, nullptr, &connected, &failed, &time);
            int size = sizeof error_;
            if (ready < 0 || (ready > 0 && getsockopt(socket_, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error_),
                                                      &size) != 0)) {
                error_ = WSAGetLastError();
            }
            if (ready == 0 && over) error_ = WSAETIMEDOUT;
        }
        return error_;
    }

  private:
    SOCKET socket_ = INVALID_SOCKET;
    int error_ = 0;  // WSAEWOULDBLOCK while it is being made
};

PrinterCheck Check(const WCHAR* address, uint32_t port_number, DWORD limit_ms, const std::atomic<bool>* stop) {
    ADDRINFOW* targets = nullptr;
    PrinterCheck check = {Verdict::failed, static_cast<DWORD>(LookUpPrinter(address, port_number, &targets)), 0, 0, 0};
    if (check.error == WSAHOST_NOT_FOUND || check.error == WSANO_DATA || check.error == WSATRY_AGAIN) {
        check.verdict = Verdict::unknown_name;
    }
    if (check.error != 0) return check;
    Attempt attempts[kMostAddresses];
    for (const ADDRINFOW* target = targets; target != nullptr && check.addresses < kMostAddresses;
         target = target->ai_next) {
        attempts[check.addresses++].Start(*target);
    }
    FreeAddrInfoW(targets);
    const DWORD begin = GetTickCount();
    bool refused = false;
    for (uint32_t i = 0; i < check.addresses; ++i) {
        const int error = attempts[i].Wait(begin, limit_ms, stop);
        check.error = static_cast<DWORD>(error);
        if (error == 0) {
            check.verdict = Verdict::accepted;
            check.wait_seconds = check.silent * kConnectSeconds;
            return check;
        }
        refused = refused || error == WSAECONNREFUSED;
        if (error == WSAETIMEDOUT) ++check.silent;
    }
    check.verdict = refused ? Verdict::refused : check.silent > 0 ? Verdict::no_answer : Verdict::failed;
    return check;
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

PrinterCheck CheckPrinter(const WCHAR* address, uint32_t port_number, DWORD limit_ms, const std::atomic<bool>* stop) {
    WSADATA data = {};
    const int error = WSAStartup(kWinsockVersion, &data);
    if (error != 0) return {Verdict::failed, static_cast<DWORD>(error), 0, 0, 0};
    const PrinterCheck check = Check(address, port_number, limit_ms, stop);
    WSACleanup();
    return check;
}

}  // namespace contract
