// A network printer for tools and tests: takes raw TCP streams, records what arrived, and misbehaves on
// request.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "testbed/test_printer/net.h"

namespace test_printer {

constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();

// How a connection is treated. The limits count bytes received; the first one reached decides.
struct Behaviour {
    std::uint64_t keep_bytes = 16 << 20;  // of the data, this much is kept
    std::uint64_t bytes_per_second = 0;   // reads no faster than this; 0: as fast as it can
    int receive_buffer = 0;               // the system's buffer in bytes; 0: its default
    std::uint64_t reset_after = never;    // resets the connection
    std::uint64_t close_after = never;    // closes the connection, without reading what is still to come
    std::uint64_t stall_after = never;    // reads nothing more ...
    std::chrono::milliseconds stall_for = std::chrono::hours(24 * 365);  // ... for this long
    std::string answer = {};                                             // sent back when the sender has finished
    std::chrono::milliseconds close_delay{0};  // from the sender's end to the close of this side
    bool never_close = false;                  // leaves its own side open until the printer is destroyed
};

enum class End {
    open,           // still receiving
    finished,       // the sender ended its stream
    reset_by_peer,  // the sender's side was lost
    reset_here,     // as Behaviour asked
    closed_here,    // as Behaviour asked, or because the printer was destroyed
};
// "finished", "reset by the sender" and so on.
const char* end_to_text(End end);

struct Connection {
    std::uint64_t bytes = 0;
    std::string data;  // the first Behaviour::keep_bytes of them
    End end = End::open;
    bool closed = false;  // this side is closed too
    std::chrono::steady_clock::time_point started;
    std::chrono::steady_clock::time_point ended;
};

// One thread accepts, and one serves each connection. All functions may be called from any thread.
class TcpPrinter {
  public:
    struct Options {
        std::string address = "127.0.0.1";
        std::uint16_t port = 0;  // 0: one that the system chooses
        bool listening = true;
        // Given every piece of data, and every connection that has ended, on the connection's own thread.
        std::function<void(size_t connection, const char* data, size_t size)> on_data = {};
        std::function<void(size_t connection, const Connection& record)> on_end = {};
    };

    TcpPrinter() : TcpPrinter(Options()) {}
    explicit TcpPrinter(Options options);
    ~TcpPrinter();
    TcpPrinter(const TcpPrinter&) = delete;
    TcpPrinter& operator=(const TcpPrinter&) = delete;

    // Empty when the printer could be set up, else the reason.
    const std::string& error() const { return error_; }
    const std::string& address() const { return options_.address; }
    std::uint16_t port() const { return port_; }

    // From the next connection on, whatever was queued; connections that are open keep theirs.
    void behave(const Behaviour& behaviour);
    // Only for the next connection that nothing else was queued for.
    void behave_once(const Behaviour& behaviour);
    // Connections are refused until listen(); the address stays taken.
    void refuse() { set_listening(false); }
    void listen() { set_listening(true); }

    size_t connections() const;
    // A copy of the record of the n-th connection (from 0); an empty record when there is none.
    Connection connection(size_t index) const;
    // Until that many connections have come, or have ended; false when the time is over first.
    bool wait_for_connections(size_t count, std::chrono::milliseconds limit = std::chrono::seconds(60));
    bool wait_for_ends(size_t count, std::chrono::milliseconds limit = std::chrono::seconds(60));
    // Until the n-th connection (from 0) has come and ended.
    bool wait_for_end_of(size_t index, std::chrono::milliseconds limit = std::chrono::seconds(60));
    // Drops the records of connections that are over; they still count, and later ones keep their numbers.
    void forget_ended();

  private:
    struct Served {
        size_t index;
        Behaviour behaviour;
        net::Socket socket;
        Connection record;
        std::thread thread;
    };

    bool bind_again();
    void set_listening(bool listening);
    void apply_listening();
    void accept_connections();
    void start_serving(net::Socket socket);
    void serve(Served& served);
    void join_closed();
    End receive_all(Served& served);
    void take_in(Served& served, const char* data, size_t size);
    void pace(const Served& served);
    void finish(Served& served, End end);
    // False when the printer is being destroyed meanwhile.
    bool pause(std::chrono::steady_clock::duration time);

    const Options options_;
    std::string error_;
    std::uint16_t port_ = 0;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    net::Socket listener_ = net::no_socket;
    bool listening_ = false;
    bool wanted_ = false;
    std::atomic<bool> stopping_ = false;  // set under the lock
    size_t accepted_ = 0;
    size_t forgotten_ = 0;
    Behaviour behaviour_;
    std::deque<Behaviour> queued_;
    std::list<Served> served_;
    std::thread acceptor_;
};

}  // namespace test_printer
