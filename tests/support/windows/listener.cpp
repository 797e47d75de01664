#include "tests/support/listener.h"

#include <winsock2.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace test {
namespace {

SOCKET native(long long socket) {
    return static_cast<SOCKET>(socket);
}

long long checked(long long result) {
    if (result < 0) throw std::runtime_error("the listener's socket call failed");
    return result;
}

long long new_socket() {
    WSADATA data;
    checked(-WSAStartup(MAKEWORD(2, 2), &data));
    return checked(static_cast<long long>(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)));
}

}  // namespace

std::string Peer::read(size_t size) {
    std::string data;
    std::array<char, 65536> buffer{};
    while (data.size() < size) {
        const size_t wanted = std::min(buffer.size(), size - data.size());
        const int count = recv(native(socket_), buffer.data(), static_cast<int>(wanted), 0);
        if (count <= 0) break;
        data.append(buffer.data(), static_cast<size_t>(count));
    }
    return data;
}

void Peer::write(const std::string& data) {
    checked(send(native(socket_), data.data(), static_cast<int>(data.size()), 0));
}

void Peer::close() {
    if (socket_ >= 0) closesocket(native(socket_));
    socket_ = -1;
}

void Peer::reset() {
    const linger at_once{1, 0};
    const auto* const option = reinterpret_cast<const char*>(&at_once);
    checked(setsockopt(native(socket_), SOL_SOCKET, SO_LINGER, option, sizeof at_once));
    close();
}

Listener::Listener() : socket_(new_socket()) {
    sockaddr_in address{};
    int size = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    checked(bind(native(socket_), generic, size));
    checked(listen(native(socket_), 16));
    checked(getsockname(native(socket_), generic, &size));
    port_ = ntohs(address.sin_port);
}

Listener::~Listener() {
    closesocket(native(socket_));
    WSACleanup();
}

Peer Listener::accept() {
    return Peer(checked(static_cast<long long>(::accept(native(socket_), nullptr, nullptr))));
}

}  // namespace test
