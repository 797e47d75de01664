#include "testbed/test_printer/tcp_printer.h"

#include <algorithm>

namespace test_printer {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int poll_ms = 10;  // how soon a stop is noticed
constexpr size_t piece = 256 * 1024;

}  // namespace

const char* end_to_text(End end) {
    static constexpr const char* kTexts[] = {"still open", "finished", "reset by the sender", "reset by the printer",
                                             "closed early by the printer"};
    return kTexts[static_cast<size_t>(end)];
}

TcpPrinter::TcpPrinter(Options options) : options_(std::move(options)) {
    port_ = options_.port;
    if (!bind_again()) return;
    acceptor_ = std::thread(&TcpPrinter::accept_connections, this);
    if (options_.listening) listen();
}

TcpPrinter::~TcpPrinter() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    if (acceptor_.joinable()) acceptor_.join();
    for (Served& served : served_) {
        if (served.thread.joinable()) served.thread.join();
    }
    if (listener_ != net::no_socket) net::close_socket(listener_);
}

bool TcpPrinter::bind_again() {
    error_.clear();
    listener_ = net::bind_to(options_.address, port_, error_);
    if (listener_ == net::no_socket) return false;
    if (port_ == 0) port_ = net::bound_port(listener_);  // read by others once it is known
    return true;
}

void TcpPrinter::behave(const Behaviour& behaviour) {
    const std::lock_guard lock(mutex_);
    behaviour_ = behaviour;
    queued_.clear();
}

void TcpPrinter::behave_once(const Behaviour& behaviour) {
    const std::lock_guard lock(mutex_);
    queued_.push_back(behaviour);
}

// The accepting thread owns the listening socket, so it is told and waited for.
void TcpPrinter::set_listening(bool listening) {
    std::unique_lock lock(mutex_);
    if (!acceptor_.joinable()) return;
    wanted_ = listening;
    changed_.notify_all();
    changed_.wait(lock, [&] { return listening_ == wanted_ || !error_.empty(); });
}

// The lock is held.
void TcpPrinter::apply_listening() {
    if (listening_ && !wanted_) {
        // A socket that is bound and does not listen refuses, and keeps the address from being given to
        // others.
        net::close_socket(listener_);
        listening_ = false;
        // A process that is just being started may hold the old socket for a moment longer.
        for (int attempt = 0; !bind_again() && attempt < 100; ++attempt) {
            std::this_thread::sleep_for(std::chrono::milliseconds(poll_ms));
        }
    } else if (!listening_ && wanted_ && error_.empty()) {
        listening_ = net::start_listening(listener_);
        if (!listening_) error_ = "cannot listen";
    }
    changed_.notify_all();
}

size_t TcpPrinter::connections() const {
    const std::lock_guard lock(mutex_);
    return accepted_;
}

Connection TcpPrinter::connection(size_t index) const {
    const std::lock_guard lock(mutex_);
    for (const Served& served : served_) {
        if (served.index == index) return served.record;
    }
    return Connection();
}

bool TcpPrinter::wait_for_connections(size_t count, std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return accepted_ >= count; });
}

bool TcpPrinter::wait_for_ends(size_t count, std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    const auto is_over = [](const Served& served) { return served.record.end != End::open; };
    return changed_.wait_for(lock, limit, [&] {
        const auto over = std::count_if(served_.begin(), served_.end(), is_over);
        return forgotten_ + static_cast<size_t>(over) >= count;
    });
}

bool TcpPrinter::wait_for_end_of(size_t index, std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] {
        return std::any_of(served_.begin(), served_.end(), [&](const Served& served) {
            return served.index == index && served.record.end != End::open;
        });
    });
}

void TcpPrinter::forget_ended() {
    const std::lock_guard lock(mutex_);
    join_closed();
    forgotten_ += served_.remove_if([](const Served& served) { return served.record.closed; });
}

bool TcpPrinter::pause(Clock::duration time) {
    std::unique_lock lock(mutex_);
    return !changed_.wait_for(lock, time, [&] { return stopping_.load(); });
}

void TcpPrinter::accept_connections() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        if (listening_ != wanted_ && error_.empty()) apply_listening();
        if (!listening_) {
            changed_.wait(lock);
            continue;
        }
        lock.unlock();
        const bool ready = net::wait_readable(listener_, poll_ms) == net::Wait::ready;
        const net::Socket socket = ready ? net::accept_from(listener_) : net::no_socket;
        lock.lock();
        if (socket != net::no_socket) start_serving(socket);
    }
}

// The lock is held.
void TcpPrinter::join_closed() {
    for (Served& served : served_) {
        if (served.record.closed && served.thread.joinable()) served.thread.join();
    }
}

// The lock is held.
void TcpPrinter::start_serving(net::Socket socket) {
    join_closed();
    Served& served = served_.emplace_back();
    served.index = accepted_++;
    served.behaviour = behaviour_;
    if (!queued_.empty()) {
        served.behaviour = queued_.front();
        queued_.pop_front();
    }
    served.socket = socket;
    served.record.started = Clock::now();
    served.thread = std::thread(&TcpPrinter::serve, this, std::ref(served));
    changed_.notify_all();
}

void TcpPrinter::serve(Served& served) {
    const Behaviour& behaviour = served.behaviour;
    if (behaviour.receive_buffer != 0) net::set_receive_buffer(served.socket, behaviour.receive_buffer);
    const End end = receive_all(served);
    if (end == End::reset_here) net::reset_socket(served.socket);
    if (end == End::finished) {
        if (!behaviour.answer.empty()) net::send_all(served.socket, behaviour.answer.data(), behaviour.answer.size());
        if (behaviour.never_close) finish(served, end);
        pause(behaviour.never_close ? std::chrono::hours(24 * 365) : behaviour.close_delay);
    }
    if (end != End::reset_here) net::close_socket(served.socket);
    if (!behaviour.never_close || end != End::finished) finish(served, end);
    const std::lock_guard lock(mutex_);
    served.record.closed = true;  // the last thing done here: the thread is joined under the lock from now on
    changed_.notify_all();
}

// What arrives, until one side ends it.
End TcpPrinter::receive_all(Served& served) {
    const Behaviour& behaviour = served.behaviour;
    std::vector<char> buffer(piece);
    bool stalled = false;
    while (!stopping_) {
        const std::uint64_t bytes = served.record.bytes;  // written by this thread only
        if (bytes >= behaviour.reset_after) return End::reset_here;
        if (bytes >= behaviour.close_after) return End::closed_here;
        if (bytes >= behaviour.stall_after && !stalled) {
            stalled = true;
            if (!pause(behaviour.stall_for)) return End::closed_here;
        }
        const net::Wait waited = net::wait_readable(served.socket, poll_ms);
        if (waited == net::Wait::failed) return End::reset_by_peer;
        if (waited == net::Wait::timed_out) continue;
        std::uint64_t most = std::min({behaviour.reset_after, behaviour.close_after}) - bytes;
        if (behaviour.stall_after > bytes) most = std::min(most, behaviour.stall_after - bytes);
        if (behaviour.bytes_per_second != 0) most = std::min(most, behaviour.bytes_per_second / 50 + 1);
        size_t count = 0;
        const size_t size = static_cast<size_t>(std::min<std::uint64_t>(most, buffer.size()));
        const net::Received received = net::receive(served.socket, buffer.data(), size, count);
        if (received == net::Received::finished) return End::finished;
        if (received == net::Received::reset) return End::reset_by_peer;
        take_in(served, buffer.data(), count);
        pace(served);
    }
    return End::closed_here;
}

void TcpPrinter::take_in(Served& served, const char* data, size_t size) {
    if (options_.on_data) options_.on_data(served.index, data, size);
    const std::lock_guard lock(mutex_);
    Connection& record = served.record;
    if (record.data.size() < served.behaviour.keep_bytes) {
        const std::uint64_t room = served.behaviour.keep_bytes - record.data.size();
        record.data.append(data, static_cast<size_t>(std::min<std::uint64_t>(room, size)));
    }
    record.bytes += size;
    changed_.notify_all();
}

void TcpPrinter::pace(const Served& served) {
    const std::uint64_t rate = served.behaviour.bytes_per_second;
    if (rate == 0) return;
    const std::chrono::duration<double> due(static_cast<double>(served.record.bytes) / static_cast<double>(rate));
    const auto wait = served.record.started + std::chrono::duration_cast<Clock::duration>(due) - Clock::now();
    if (wait > Clock::duration::zero()) pause(wait);
}

void TcpPrinter::finish(Served& served, End end) {
    std::unique_lock lock(mutex_);
    served.record.end = end;
    served.record.ended = Clock::now();
    lock.unlock();
    if (options_.on_end) options_.on_end(served.index, served.record);
    changed_.notify_all();
}

}  // namespace test_printer
