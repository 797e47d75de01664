// A printer that neither accepts nor refuses a connection.
#pragma once

#include <gtest/gtest.h>

#include "testbed/test_printer/net.h"

namespace test {

// A TCP port of this machine whose queue of connections is full: what is sent to it is lost.
class SilentPrinter {
  public:
    explicit SilentPrinter(const std::string& address = "127.0.0.1", std::uint16_t number = 0) {
        std::string why;
        listener_ = test_printer::net::bind_to(address, number, why);
        EXPECT_TRUE(test_printer::net::start_listening(listener_, 0)) << why;
        port = test_printer::net::bound_port(listener_);
        queued_ = test_printer::net::connect_to(address, port);
    }
    ~SilentPrinter() {
        for (const auto socket : {queued_, listener_}) test_printer::net::close_socket(socket);
    }
    SilentPrinter(const SilentPrinter&) = delete;
    SilentPrinter& operator=(const SilentPrinter&) = delete;

    std::uint16_t port;

  private:
    test_printer::net::Socket listener_;
    test_printer::net::Socket queued_;
};

}  // namespace test
