// A TCP peer on this machine for socket tests, written straight against the platform (linux/, windows/) so
// that it depends on nothing that is being tested. Everything throws std::runtime_error when the platform
// refuses.
#pragma once

#include <cstddef>
#include <string>

namespace test {

// One accepted connection; closed by its destructor.
class Peer {
  public:
    explicit Peer(long long socket) : socket_(socket) {}
    Peer(Peer&& other) noexcept : socket_(other.socket_) { other.socket_ = -1; }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    ~Peer() { close(); }

    // What has arrived by the time it is `size` bytes or the other side has ended.
    std::string read(size_t size);
    void write(const std::string& data);
    void close();
    // Closes so that the other side sees a reset.
    void reset();

  private:
    long long socket_;
};

// Listens at 127.0.0.1 from construction to destruction.
class Listener {
  public:
    Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener();

    unsigned short port() const { return port_; }
    Peer accept();

  private:
    long long socket_;
    unsigned short port_;
};

}  // namespace test
