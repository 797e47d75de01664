#include "testbed/test_printer/net.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "testbed/test_printer/name.h"

namespace test_printer::net {
namespace {

int descriptor(Socket socket) {
    return static_cast<int>(socket);
}

}  // namespace

Socket bind_to(const std::string& address, std::uint16_t port, std::string& why) {
    Name name;
    if (!set_address(name, address, port)) {
        why = "not a numeric address: " + address;
        return no_socket;
    }
    const int socket = ::socket(name.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int on = 1;
    if (socket >= 0) setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (socket < 0 || ::bind(socket, name.get(), name.size) != 0) {
        why = std::strerror(errno);
        if (socket >= 0) ::close(socket);
        return no_socket;
    }
    return socket;
}

std::uint16_t bound_port(Socket socket) {
    sockaddr_in6 name{};
    socklen_t size = sizeof name;
    if (getsockname(descriptor(socket), reinterpret_cast<sockaddr*>(&name), &size) != 0) return 0;
    return ntohs(name.sin6_port);  // in the same place in both families
}

bool start_listening(Socket socket, int waiting) {
    return ::listen(descriptor(socket), waiting) == 0;
}

void set_receive_buffer(Socket socket, int bytes) {
    setsockopt(descriptor(socket), SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
}

Wait wait_readable(Socket socket, int timeout_ms) {
    pollfd entry{descriptor(socket), POLLIN, 0};
    const int ready = ::poll(&entry, 1, timeout_ms);
    if (ready > 0) return Wait::ready;
    return ready == 0 || errno == EINTR ? Wait::timed_out : Wait::failed;
}

Socket accept_from(Socket listener) {
    return ::accept4(descriptor(listener), nullptr, nullptr, SOCK_CLOEXEC);
}

Socket connect_to(const std::string& address, std::uint16_t port) {
    Name name;
    if (!set_address(name, address, port)) return no_socket;
    const int socket = ::socket(name.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (socket >= 0 && ::connect(socket, name.get(), name.size) == 0) return socket;
    if (socket >= 0) ::close(socket);
    return no_socket;
}

Received receive(Socket socket, void* buffer, size_t size, size_t& count) {
    ssize_t got = 0;
    do {
        got = ::recv(descriptor(socket), buffer, size, 0);
    } while (got < 0 && errno == EINTR);
    count = got > 0 ? static_cast<size_t>(got) : 0;
    if (got > 0) return Received::data;
    return got == 0 ? Received::finished : Received::reset;
}

bool send_all(Socket socket, const void* data, size_t size) {
    const auto* bytes = static_cast<const char*>(data);
    while (size != 0) {
        const ssize_t sent = ::send(descriptor(socket), bytes, size, MSG_NOSIGNAL);
        if (sent <= 0) return false;
        bytes += sent;
        size -= static_cast<size_t>(sent);
    }
    return true;
}

void finish_sending(Socket socket) {
    ::shutdown(descriptor(socket), SHUT_WR);
}

void close_socket(Socket socket) {
    ::close(descriptor(socket));
}

void reset_socket(Socket socket) {
    const linger at_once{1, 0};
    setsockopt(descriptor(socket), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    ::close(descriptor(socket));
}

}  // namespace test_printer::net
