#include "bench/plain.h"

#include <algorithm>

#include "bench/pairs.h"

namespace bench {
namespace {

constexpr DWORD kCloseWaitMs = 30000;

// Until the end of the process; a monitor in it does the same for itself.
void start_sockets() {
    static const bool started = [] {
        WSADATA data;
        return WSAStartup(0x0202, &data) == 0;
    }();
    require(started, "no sockets");
}

}  // namespace

std::string printer_address(unsigned number) {
    return "127.0.0." + std::to_string(number % kPrinters + 1);
}

SOCKET connect_to(const host::Text& address, const host::Text& service) {
    start_sockets();
    ADDRINFOW hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    ADDRINFOW* found = nullptr;
    require(GetAddrInfoW(address.c_str(), service.c_str(), &hints, &found) == 0, "an address is not known");
    const SOCKET socket = WSASocketW(found->ai_family, found->ai_socktype, found->ai_protocol, nullptr, 0,
                                     WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    require(connect(socket, found->ai_addr, static_cast<int>(found->ai_addrlen)) == 0, "no connection");
    FreeAddrInfoW(found);
    return socket;
}

void send_all(SOCKET socket, const char* data, size_t size) {
    const auto count = static_cast<int>(size);
    require(send(socket, data, count, 0) == count, "a send failed");
}

void end_connection(SOCKET socket) {
    const WSAEVENT closed = WSACreateEvent();
    WSANETWORKEVENTS happened = {};
    require(WSAEventSelect(socket, closed, FD_CLOSE) == 0 && shutdown(socket, SD_SEND) == 0 &&
                WSAWaitForMultipleEvents(1, &closed, FALSE, kCloseWaitMs, FALSE) == WSA_WAIT_EVENT_0 &&
                WSAEnumNetworkEvents(socket, nullptr, &happened) == 0 && happened.iErrorCode[FD_CLOSE_BIT] == 0,
            "a connection does not end well");
    WSACloseEvent(closed);
    closesocket(socket);
}

void send_plainly(unsigned number, std::uint16_t port, const std::vector<char>& data, std::uint64_t size,
                  size_t write_size) {
    const SOCKET connection = connect_to(host::to_text(printer_address(number)), host::to_text(std::to_string(port)));
    for (std::uint64_t done = 0; done < size; done += write_size) {
        send_all(connection, data.data(), static_cast<size_t>(std::min<std::uint64_t>(write_size, size - done)));
    }
    end_connection(connection);
}

}  // namespace bench
