#include "bench/receiver.h"

#include <cstdio>

#include "bench/pairs.h"

namespace bench {

namespace net = test_printer::net;

Receiver::Receiver(const std::string& ports) {
    unsigned data = 0;
    unsigned control = 0;
    require(std::sscanf(ports.c_str(), "%u:%u", &data, &control) == 2, "--receiver is missing");
    port_ = static_cast<std::uint16_t>(data);
    control_ = net::connect_to("127.0.0.1", static_cast<std::uint16_t>(control));
    require(control_ != net::no_socket, "the receiver cannot be reached");
}

Receiver::Counts Receiver::ask(char command) const {
    Counts counts{};
    require(net::send_all(control_, &command, 1), "the receiver is gone");
    auto* next = reinterpret_cast<char*>(&counts);
    for (size_t left = sizeof counts, count = 0; left > 0; next += count, left -= count) {
        require(net::receive(control_, next, left, count) == net::Received::data, "the receiver says nothing");
    }
    return counts;
}

void Receiver::expect() const {
    ask('0');
}

void Receiver::rest() const {
    ask('-');
}

void Receiver::check(std::uint64_t bytes, std::uint64_t connections) const {
    const Counts counts = ask('?');
    require(counts.connections == connections && counts.bytes == bytes,
            std::to_string(counts.bytes) + " bytes in " + std::to_string(counts.connections) +
                " connections arrived, not " + std::to_string(bytes) + " in " + std::to_string(connections));
}

}  // namespace bench
