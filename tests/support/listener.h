// A TCP peer on this machine for socket tests, over the tools' own sockets, so that it depends on nothing that is being
// tested.
#pragma once

#include <stdexcept>
#include <string>

#include "testbed/test_printer/net.h"

namespace test {

// One accepted connection; closed by its destructor.
class Peer {
  public:
    explicit Peer(test_printer::net::Socket socket) : socket_(socket) {}
    Peer(Peer&& other) noexcept : socket_(other.socket_) { other.socket_ = test_printer::net::no_socket; }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    ~Peer() { close(); }

    // What has arrived by the time it is `size` bytes or the other side has ended.
    std::string read(size_t size) {
        std::string data(size, '\0');
        size_t filled = 0;
        for (size_t count = 0; filled < size; filled += count) {
            const auto result = test_printer::net::receive(socket_, data.data() + filled, size - filled, count);
            if (result != test_printer::net::Received::data) break;
        }
        data.resize(filled);
        return data;
    }
    void close() {
        if (socket_ != test_printer::net::no_socket) test_printer::net::close_socket(socket_);
        socket_ = test_printer::net::no_socket;
    }
    // Closes so that the other side sees a reset.
    void reset() {
        test_printer::net::reset_socket(socket_);
        socket_ = test_printer::net::no_socket;
    }

  private:
    test_printer::net::Socket socket_;
};

// Listens at 127.0.0.1 from construction to destruction.
class Listener {
  public:
    Listener() {
        std::string why;
        socket_ = test_printer::net::bind_to("127.0.0.1", 0, why);
        if (!test_printer::net::start_listening(socket_)) throw std::runtime_error("the listener cannot listen " + why);
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener() { test_printer::net::close_socket(socket_); }

    unsigned short port() const { return test_printer::net::bound_port(socket_); }
    Peer accept() {
        test_printer::net::wait_readable(socket_, 20'000);
        return Peer(test_printer::net::accept_from(socket_));
    }

  private:
    test_printer::net::Socket socket_;
};

}  // namespace test
