// The printer of all cases: a process of its own that throws away what it receives, as cheaply as this machine can, and
// closes each connection at its end.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>

namespace bench {

struct Counts {
    std::atomic<std::uint64_t> bytes;
    std::atomic<std::uint64_t> ends;  // connections that have come to their end
};

class Receiver {
  public:
    // Listens on every loopback address. Start it before any thread.
    Receiver();
    ~Receiver();
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    std::uint16_t port() const { return port_; }
    // Forgets what has been counted; then whether exactly so much has come. Throws Failed when it has not.
    void expect();
    void check(std::uint64_t bytes, std::uint64_t connections) const;

  private:
    Counts* counts_;
    std::uint16_t port_ = 0;
    pid_t process_ = -1;
};

}  // namespace bench
