#include "bench/plain.h"

#include <algorithm>

#include "bench/pairs.h"

namespace bench {

namespace net = test_printer::net;

std::string printer_address(unsigned number) {
    return "127.0.0." + std::to_string(number % kPrinters + 1);
}

Socket connect_to(unsigned number, std::uint16_t port) {
    const Socket connection = net::connect_to(printer_address(number), port);
    require(connection != net::no_socket, "the plain loop cannot connect");
    return connection;
}

void send_all(Socket socket, const char* data, size_t size) {
    require(net::send_all(socket, data, size), "the plain loop cannot send");
}

void receive_all(Socket socket, void* data, size_t size) {
    auto* next = static_cast<char*>(data);
    for (size_t count = 0; size > 0; next += count, size -= count) {
        require(net::receive(socket, next, size, count) == net::Received::data, "the other side says nothing");
    }
}

void end_connection(Socket socket) {
    net::finish_sending(socket);
    char byte = 0;
    size_t count = 0;
    require(net::receive(socket, &byte, 1, count) == net::Received::finished, "the receiver did not close");
    net::close_socket(socket);
}

void send_plainly(unsigned number, std::uint16_t port, const std::vector<char>& data, std::uint64_t size,
                  size_t write_size) {
    const Socket connection = connect_to(number, port);
    for (std::uint64_t done = 0; done < size; done += write_size) {
        send_all(connection, data.data(), static_cast<size_t>(std::min<std::uint64_t>(write_size, size - done)));
    }
    end_connection(connection);
}

}  // namespace bench
