#include "testbed/test_printer/net.h"

#include <algorithm>
#include <limits>

#include "sockets.h"  // of the platform: linux/ or windows/

namespace test_printer::net {
namespace {

// The name of a socket: a numeric address of either family, with a TCP port.
struct Name {
    sockaddr_storage storage{};
    socklen_t size = 0;

    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&storage); }
};

// False when it is no numeric address.
bool set_address(Name& name, const std::string& address, std::uint16_t port) {
    auto& v4 = reinterpret_cast<sockaddr_in&>(name.storage);
    auto& v6 = reinterpret_cast<sockaddr_in6&>(name.storage);
    const bool is_v6 = address.find(':') != std::string::npos;
    name.storage.ss_family = is_v6 ? AF_INET6 : AF_INET;
    name.size = is_v6 ? sizeof v6 : sizeof v4;
    v4.sin_port = htons(port);  // in the same place in both
    void* const bytes = is_v6 ? static_cast<void*>(&v6.sin6_addr) : &v4.sin_addr;
    return start_sockets() && inet_pton(name.storage.ss_family, address.c_str(), bytes) == 1;
}

Native native(Socket socket) {
    return static_cast<Native>(socket);
}

// All zero when it has none.
sockaddr_in6 own_name(Native socket) {
    sockaddr_in6 name{};
    socklen_t size = sizeof name;
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&name), &size) != 0) return {};
    return name;
}

Amount limited(size_t size) {
    return static_cast<Amount>(std::min<size_t>(size, std::numeric_limits<int>::max()));
}

}  // namespace

Socket bind_to(const std::string& address, std::uint16_t port, std::string& why) {
    Name name;
    if (!set_address(name, address, port)) {
        why = "not a numeric address: " + address;
        return no_socket;
    }
    const Native socket = open_native(name.storage.ss_family);
    if (socket == invalid || !prepare_listener(socket) || ::bind(socket, name.get(), name.size) != 0) {
        why = last_error();
        if (socket != invalid) close_native(socket);
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
    pollfd entry{native(socket), POLLRDNORM, 0};
    const int ready = poll_one(entry, timeout_ms);
    if (ready > 0) return Wait::ready;
    return ready == 0 || interrupted() ? Wait::timed_out : Wait::failed;
}

Socket accept_from(Socket listener) {
    return static_cast<Socket>(accept_native(native(listener), own_name(native(listener)).sin6_family));
}

Socket connect_to(const std::string& address, std::uint16_t port) {
    Name name;
    if (!set_address(name, address, port)) return no_socket;
    const Native socket = open_native(name.storage.ss_family);
    if (socket != invalid && ::connect(socket, name.get(), name.size) == 0) return static_cast<Socket>(socket);
    if (socket != invalid) close_native(socket);
    return no_socket;
}

Received receive(Socket socket, void* buffer, size_t size, size_t& count) {
    auto got = ::recv(native(socket), static_cast<char*>(buffer), limited(size), 0);
    while (got < 0 && interrupted()) got = ::recv(native(socket), static_cast<char*>(buffer), limited(size), 0);
    count = got > 0 ? static_cast<size_t>(got) : 0;
    if (got > 0) return Received::data;
    return got == 0 ? Received::finished : Received::reset;
}

bool send_all(Socket socket, const void* data, size_t size) {
    const auto* bytes = static_cast<const char*>(data);
    while (size != 0) {
        const auto sent = ::send(native(socket), bytes, limited(size), send_flags);
        if (sent <= 0) return false;
        bytes += sent;
        size -= static_cast<size_t>(sent);
    }
    return true;
}

void finish_sending(Socket socket) {
    constexpr int sending = 1;  // SHUT_WR, SD_SEND
    ::shutdown(native(socket), sending);
}

void close_socket(Socket socket) {
    close_native(native(socket));
}

void reset_socket(Socket socket) {
    const linger at_once{1, 0};
    setsockopt(native(socket), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&at_once), sizeof at_once);
    close_socket(socket);
}

}  // namespace test_printer::net
