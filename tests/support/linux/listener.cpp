#include "tests/support/listener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace test {
namespace {

int native(long long socket) {
    return static_cast<int>(socket);
}

long long checked(long long result) {
    if (result < 0) throw std::runtime_error("the listener's socket call failed");
    return result;
}

}  // namespace

std::string Peer::read(size_t size) {
    std::string data;
    std::array<char, 65536> buffer{};
    while (data.size() < size) {
        const size_t wanted = std::min(buffer.size(), size - data.size());
        const ssize_t count = recv(native(socket_), buffer.data(), wanted, 0);
        if (count <= 0) break;
        data.append(buffer.data(), static_cast<size_t>(count));
    }
    return data;
}

void Peer::write(const std::string& data) {
    checked(send(native(socket_), data.data(), data.size(), MSG_NOSIGNAL));
}

void Peer::close() {
    if (socket_ >= 0) ::close(native(socket_));
    socket_ = -1;
}

void Peer::reset() {
    const linger at_once{1, 0};
    checked(setsockopt(native(socket_), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once));
    close();
}

Listener::Listener() : socket_(checked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    checked(bind(native(socket_), generic, size));
    checked(listen(native(socket_), 16));
    checked(getsockname(native(socket_), generic, &size));
    port_ = ntohs(address.sin_port);
}

Listener::~Listener() {
    ::close(native(socket_));
}

Peer Listener::accept() {
    return Peer(checked(accept4(native(socket_), nullptr, nullptr, SOCK_CLOEXEC)));
}

}  // namespace test
