#include "bench/plain.h"

#include <winsock2.h>

#include <algorithm>
#include <climits>

#include "bench/pairs.h"

namespace bench {
namespace {

SOCKET of(Socket socket) {
    return static_cast<SOCKET>(socket);
}

struct Winsock {
    Winsock() {
        WSADATA data;
        WSAStartup(0x0202, &data);
    }
};

}  // namespace

Socket connect_to(unsigned number, std::uint16_t port) {
    static const Winsock winsock;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = inet_addr(printer_address(number).c_str());
    const SOCKET connection = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    require(connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0,
            "the plain loop cannot connect");
    return static_cast<Socket>(connection);
}

void send_all(Socket socket, const char* data, size_t size) {
    while (size > 0) {
        const int sent = send(of(socket), data, static_cast<int>(std::min<size_t>(size, INT_MAX)), 0);
        require(sent > 0, "the plain loop cannot send");
        data += sent;
        size -= static_cast<size_t>(sent);
    }
}

void receive_all(Socket socket, void* data, size_t size) {
    auto* next = static_cast<char*>(data);
    while (size > 0) {
        const int count = recv(of(socket), next, static_cast<int>(size), 0);
        require(count > 0, "the other side says nothing");
        next += count;
        size -= static_cast<size_t>(count);
    }
}

void end_connection(Socket socket) {
    shutdown(of(socket), SD_SEND);
    char byte = 0;
    require(recv(of(socket), &byte, 1, 0) == 0, "the receiver did not close");
    closesocket(of(socket));
}

}  // namespace bench
