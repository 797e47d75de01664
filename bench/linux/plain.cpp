#include "bench/plain.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bench/pairs.h"

namespace bench {

Socket connect_to(unsigned number, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, printer_address(number).c_str(), &address.sin_addr);
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0,
            "the plain loop cannot connect");
    return connection;
}

void send_all(Socket socket, const char* data, size_t size) {
    while (size > 0) {
        const ssize_t sent = send(static_cast<int>(socket), data, size, MSG_NOSIGNAL);
        require(sent > 0, "the plain loop cannot send");
        data += sent;
        size -= static_cast<size_t>(sent);
    }
}

void receive_all(Socket socket, void* data, size_t size) {
    require(recv(static_cast<int>(socket), data, size, MSG_WAITALL) == static_cast<ssize_t>(size),
            "the other side says nothing");
}

void end_connection(Socket socket) {
    const int connection = static_cast<int>(socket);
    shutdown(connection, SHUT_WR);
    char byte = 0;
    require(recv(connection, &byte, 1, 0) == 0, "the receiver did not close");
    close(connection);
}

}  // namespace bench
