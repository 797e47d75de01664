// The printer of all cases: a separate process that discards what it receives and closes each connection at its end.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>

namespace bench {

// How it discards data: it reads it into its memory, as a printer does, or drops it in the kernel, which costs least.
enum class Taking { reading, dropping };

struct Shared {
    std::atomic<Taking> taking;
    std::atomic<std::uint64_t> bytes;
    std::atomic<std::uint64_t> ends;  // connections that have ended
};

class Receiver {
  public:
    // Listens on every loopback address. Start it before any thread.
    Receiver();
    ~Receiver();
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    std::uint16_t port() const { return port_; }
    // It reads at first.
    void take_by(Taking taking);
    // Forgets what has been counted; then whether exactly so much has come. Throws Failed when it has not.
    void expect();
    void check(std::uint64_t bytes, std::uint64_t connections) const;

  private:
    Shared* shared_;
    std::uint16_t port_ = 0;
    pid_t process_ = -1;
};

}  // namespace bench
