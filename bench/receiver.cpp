#include "bench/receiver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <new>
#include <string>

#include "bench/pairs.h"

namespace bench {
namespace {

constexpr size_t kMostDropped = 4 << 20;

std::array<char, 256 << 10> data;

void watch(int epoll, int descriptor) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event);
}

void take(int connection, Shared& shared) {
    // With MSG_TRUNC, TCP discards data without copying it.
    const ssize_t count = shared.taking == Taking::dropping
                              ? recv(connection, nullptr, kMostDropped, MSG_DONTWAIT | MSG_TRUNC)
                              : recv(connection, data.data(), data.size(), MSG_DONTWAIT);
    if (count > 0) {
        shared.bytes += static_cast<std::uint64_t>(count);
    } else if (count == 0) {
        ++shared.ends;
        close(connection);
    }
}

[[noreturn]] void serve(int listener, Shared& shared) {
    const int epoll = epoll_create1(0);
    watch(epoll, listener);
    std::array<epoll_event, 64> events{};
    for (;;) {
        const int ready = epoll_wait(epoll, events.data(), static_cast<int>(events.size()), -1);
        for (int i = 0; i < ready; ++i) {
            const int descriptor = events[static_cast<size_t>(i)].data.fd;
            if (descriptor != listener) {
                take(descriptor, shared);
            } else if (const int connection = accept(listener, nullptr, nullptr); connection >= 0) {
                watch(epoll, connection);
            }
        }
    }
}

}  // namespace

Receiver::Receiver() {
    void* const shared = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    require(shared != MAP_FAILED, "no shared memory for the receiver");
    shared_ = new (shared) Shared{};
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);  // all of 127.0.0.0/8
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    require(bind(listener, generic, size) == 0 && listen(listener, SOMAXCONN) == 0 &&
                getsockname(listener, generic, &size) == 0,
            "the receiver cannot listen");
    port_ = ntohs(address.sin_port);
    process_ = fork();
    require(process_ >= 0, "the receiver cannot start");
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        serve(listener, *shared_);
    }
    close(listener);
}

Receiver::~Receiver() {
    if (process_ <= 0) return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

void Receiver::take_by(Taking taking) {
    shared_->taking = taking;
}

void Receiver::expect() {
    shared_->bytes = 0;
    shared_->ends = 0;
}

void Receiver::check(std::uint64_t bytes, std::uint64_t connections) const {
    require(shared_->ends == connections && shared_->bytes == bytes,
            std::to_string(shared_->bytes) + " bytes in " + std::to_string(shared_->ends) +
                " connections arrived, not " + std::to_string(bytes) + " in " + std::to_string(connections));
}

}  // namespace bench
