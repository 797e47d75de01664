#include "testbed/test_printer/net.h"

#include <mswsock.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <limits>

#include "testbed/test_printer/name.h"

namespace test_printer::net {
namespace {

// Winsock stays started from the first use to the end of the process.
bool started() {
    static const bool done = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }();
    return done;
}

SOCKET native(Socket socket) {
    return static_cast<SOCKET>(socket);
}

int limited(size_t size) {
    return static_cast<int>(std::min<size_t>(size, std::numeric_limits<int>::max()));
}

bool set_blocking(SOCKET socket, bool blocking) {
    u_long waits_not = blocking ? 0 : 1;
    return ioctlsocket(socket, static_cast<long>(FIONBIO), &waits_not) == 0;
}

SOCKET new_socket(int family) {
    return WSASocketW(family, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
}

// All zero when it has none.
sockaddr_in6 own_name(SOCKET socket) {
    sockaddr_in6 name{};
    int size = sizeof name;
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&name), &size) != 0) return {};
    return name;
}

// False when no connection is pending.
bool accept_into(SOCKET listener, SOCKET accepted) {
    constexpr DWORD address_size = sizeof(sockaddr_in6) + 16;  // as AcceptEx asks for
    char addresses[2 * address_size];
    DWORD received = 0;
    OVERLAPPED operation{};
    operation.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (operation.hEvent == nullptr) return false;
    bool done = AcceptEx(listener, accepted, addresses, 0, address_size, address_size, &received, &operation);
    if (!done && WSAGetLastError() == ERROR_IO_PENDING) {
        const HANDLE handle = reinterpret_cast<HANDLE>(listener);
        CancelIoEx(handle, &operation);
        done = GetOverlappedResult(handle, &operation, &received, TRUE);
    }
    CloseHandle(operation.hEvent);
    return done;
}

}  // namespace

Socket bind_to(const std::string& address, std::uint16_t port, std::string& why) {
    Name name;
    if (!started() || !set_address(name, address, port)) {
        why = "not a numeric address: " + address;
        return no_socket;
    }
    const SOCKET socket = new_socket(name.storage.ss_family);
    // Nobody else may take the address; a port whose connections are still fading can be bound all the same.
    if (socket == INVALID_SOCKET || !set_blocking(socket, false) || ::bind(socket, name.get(), name.size) != 0) {
        why = "error " + std::to_string(WSAGetLastError());
        if (socket != INVALID_SOCKET) closesocket(socket);
        return no_socket;
    }
    return static_cast<Socket>(socket);
}

std::uint16_t bound_port(Socket socket) {
    return ntohs(own_name(native(socket)).sin6_port);  // in the same place in both families
}

bool start_listening(Socket socket, int waiting) {
    return ::listen(native(socket), waiting) == 0;
}

void set_receive_buffer(Socket socket, int bytes) {
    setsockopt(native(socket), SOL_SOCKET, SO_RCVBUF, reinterpret_cast<const char*>(&bytes), sizeof bytes);
}

Wait wait_readable(Socket socket, int timeout_ms) {
    WSAPOLLFD entry{native(socket), POLLRDNORM, 0};
    const int ready = WSAPoll(&entry, 1, timeout_ms);
    if (ready > 0) return Wait::ready;
    return ready == 0 ? Wait::timed_out : Wait::failed;
}

// By AcceptEx: a socket of accept() is inheritable, and a program started before that is mended keeps the connection
// open.
Socket accept_from(Socket listener) {
    const SOCKET waiting = native(listener);
    const SOCKET accepted = new_socket(own_name(waiting).sin6_family);
    if (accepted == INVALID_SOCKET) return no_socket;
    if (!accept_into(waiting, accepted) || setsockopt(accepted, SOL_SOCKET, SO_UPDATE_ACCEPT_CONTEXT,
                                                      reinterpret_cast<const char*>(&waiting), sizeof waiting) != 0) {
        closesocket(accepted);
        return no_socket;
    }
    set_blocking(accepted, true);  // it inherits the listener's options
    return static_cast<Socket>(accepted);
}

Socket connect_to(const std::string& address, std::uint16_t port) {
    Name name;
    if (!started() || !set_address(name, address, port)) return no_socket;
    const SOCKET socket = new_socket(name.storage.ss_family);
    if (::connect(socket, name.get(), name.size) == 0) {
        return static_cast<Socket>(socket);
    }
    if (socket != INVALID_SOCKET) closesocket(socket);
    return no_socket;
}

Received receive(Socket socket, void* buffer, size_t size, size_t& count) {
    const int got = ::recv(native(socket), static_cast<char*>(buffer), limited(size), 0);
    count = got > 0 ? static_cast<size_t>(got) : 0;
    if (got > 0) return Received::data;
    return got == 0 ? Received::finished : Received::reset;
}

bool send_all(Socket socket, const void* data, size_t size) {
    const auto* bytes = static_cast<const char*>(data);
    while (size != 0) {
        const int sent = ::send(native(socket), bytes, limited(size), 0);
        if (sent <= 0) return false;
        bytes += sent;
        size -= static_cast<size_t>(sent);
    }
    return true;
}

void finish_sending(Socket socket) {
    ::shutdown(native(socket), SD_SEND);
}

void close_socket(Socket socket) {
    closesocket(native(socket));
}

void reset_socket(Socket socket) {
    const linger at_once{1, 0};
    setsockopt(native(socket), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&at_once), sizeof at_once);
    closesocket(native(socket));
}

}  // namespace test_printer::net
