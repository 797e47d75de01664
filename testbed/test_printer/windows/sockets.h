// What Windows' sockets have of their own.
#pragma once

#include <mswsock.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#include <string>

namespace test_printer::net {

using Native = SOCKET;
using Amount = int;  // of bytes, as a call takes it
constexpr Native invalid = INVALID_SOCKET;
constexpr int send_flags = 0;

// They stay started from the first use to the end of the process.
inline bool start_sockets() {
    static const bool done = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }();
    return done;
}
inline std::string last_error() {
    return "error " + std::to_string(WSAGetLastError());
}
inline bool interrupted() {
    return false;
}
inline Native open_native(int family) {
    return WSASocketW(family, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
}
inline void close_native(Native socket) {
    closesocket(socket);
}
inline int poll_one(pollfd& entry, int timeout_ms) {
    return WSAPoll(&entry, 1, timeout_ms);
}

inline bool set_blocking(Native socket, bool blocking) {
    u_long waits_not = blocking ? 0 : 1;
    return ioctlsocket(socket, static_cast<long>(FIONBIO), &waits_not) == 0;
}

// Nobody waits for a connection, and nobody else may take the address; one whose connections are still fading can be
// bound all the same.
inline bool prepare_listener(Native socket) {
    return set_blocking(socket, false);
}

// False when no connection is pending.
inline bool accept_into(Native listener, Native accepted) {
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

// By AcceptEx: a socket of accept() is inheritable, and a program started before that is mended keeps the connection
// open.
inline Native accept_native(Native listener, int family) {
    const Native accepted = open_native(family);
    if (accepted == invalid) return invalid;
    if (!accept_into(listener, accepted) ||
        setsockopt(accepted, SOL_SOCKET, SO_UPDATE_ACCEPT_CONTEXT, reinterpret_cast<const char*>(&listener),
                   sizeof listener) != 0) {
        close_native(accepted);
        return invalid;
    }
    set_blocking(accepted, true);  // it inherits the listener's options
    return accepted;
}

}  // namespace test_printer::net
