// The printer of all cases: a separate process (receiver_program/), outside of Wine too, that discards what it receives
// and closes each connection at its end. It is asked over a connection, and ends with that.
#pragma once

#include <cstdint>
#include <string>

#include "testbed/test_printer/net.h"

namespace bench {

class Receiver {
  public:
    // `ports` is "DATA:CONTROL". Throws Failed when it cannot be reached.
    explicit Receiver(const std::string& ports);

    // On every loopback address.
    std::uint16_t port() const { return port_; }
    // Forgets what has been counted; then whether exactly so much has come. Throws Failed when it has not.
    void expect() const;
    void check(std::uint64_t bytes, std::uint64_t connections) const;
    // Leaves its processor to others until something is expected again.
    void rest() const;

  private:
    struct Counts {
        std::uint64_t bytes;
        std::uint64_t connections;  // that have come to their end
    };
    // What was counted before the command.
    Counts ask(char command) const;

    std::uint16_t port_ = 0;
    test_printer::net::Socket control_ = test_printer::net::no_socket;
};

}  // namespace bench
