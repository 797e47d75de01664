// What sockets of Linux have of their own.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace test_printer::net {

using Native = int;
using Amount = size_t;  // of bytes, as a call takes it
constexpr Native invalid = -1;
constexpr int send_flags = MSG_NOSIGNAL;

inline bool start_sockets() {
    return true;
}
inline std::string last_error() {
    return std::strerror(errno);
}
inline bool interrupted() {
    return errno == EINTR;
}
inline Native open_native(int family) {
    return ::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
}
inline void close_native(Native socket) {
    ::close(socket);
}
inline int poll_one(pollfd& entry, int timeout_ms) {
    return ::poll(&entry, 1, timeout_ms);
}

// Nobody waits for a connection, and an address whose connections are still fading can be taken.
inline bool prepare_listener(Native socket) {
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    return fcntl(socket, F_SETFL, O_NONBLOCK) == 0;
}

inline Native accept_native(Native listener, int /*family*/) {
    return ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
}

}  // namespace test_printer::net
