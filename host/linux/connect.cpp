#include "host/connect.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace host {
namespace {

using Clock = std::chrono::steady_clock;

// Attempts that are under way; closed with the object.
struct Attempts {
    std::vector<pollfd> sockets;
    bool accepted = false;
    bool refused = false;

    ~Attempts() {
        for (const pollfd& entry : sockets) ::close(entry.fd);
    }
    void note(int error) {
        accepted = accepted || error == 0;
        refused = refused || error == ECONNREFUSED;
    }
    void start(const addrinfo& address) {
        const int socket = ::socket(address.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        if (socket < 0) return;
        if (::connect(socket, address.ai_addr, address.ai_addrlen) == 0 || errno == EINPROGRESS) {
            sockets.push_back({socket, POLLOUT, 0});
        } else {
            note(errno);
            ::close(socket);
        }
    }
    // Removes finished attempts; false when the time is over.
    bool wait(std::chrono::milliseconds limit) {
        const int ready = ::poll(sockets.data(), sockets.size(), static_cast<int>(limit.count()));
        if (ready < 0) return errno == EINTR;
        for (size_t i = sockets.size(); i-- > 0;) {
            if (sockets[i].revents == 0) continue;
            int error = 0;
            socklen_t size = sizeof error;
            getsockopt(sockets[i].fd, SOL_SOCKET, SO_ERROR, &error, &size);
            note(error);
            ::close(sockets[i].fd);
            sockets.erase(sockets.begin() + static_cast<std::ptrdiff_t>(i));
        }
        return ready > 0;
    }
};

}  // namespace

Verdict try_connection(const std::string& host, std::uint16_t port, std::chrono::milliseconds limit) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* addresses = nullptr;
    if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &addresses) != 0) return Verdict::unknown_name;
    Attempts attempts;
    for (const addrinfo* address = addresses; address != nullptr; address = address->ai_next) attempts.start(*address);
    freeaddrinfo(addresses);
    const Clock::time_point end = Clock::now() + limit;
    auto left = limit;
    while (!attempts.accepted && !attempts.sockets.empty() && left.count() >= 0 && attempts.wait(left)) {
        left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    }
    if (attempts.accepted) return Verdict::accepted;
    return attempts.refused ? Verdict::refused : Verdict::no_answer;
}

}  // namespace host
