// Receives what the cases send, on a processor of its own where there are two or more. Prints the TCP port for
// documents, the one for questions, and the numbers of the other processors; of the second port it takes one
// connection, on which each byte is a command that it answers with what it has counted before: 0 counts anew, ? nothing
// else. It ends with that connection, or with whom has started it. Meanwhile it keeps the processors awake.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <thread>
#include <vector>

namespace {

constexpr int kReceiveBuffer = 4 << 20;

std::array<char, 256 << 10> data;

struct Counts {
    std::uint64_t bytes = 0;
    std::uint64_t connections = 0;
};

struct State {
    Counts counts;
    int control = -1;
};

void watch(int epoll, int descriptor) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event);
}

void take(int connection, State& state) {
    const ssize_t count = recv(connection, data.data(), data.size(), MSG_DONTWAIT);
    if (count > 0) {
        state.counts.bytes += static_cast<std::uint64_t>(count);
    } else if (count == 0) {
        ++state.counts.connections;
        close(connection);
    }
}

// False when there is nobody any more who could ask.
bool answer(State& state) {
    char command = 0;
    if (recv(state.control, &command, 1, 0) != 1) return false;
    const Counts before = state.counts;
    if (command == '0') state.counts = {};
    return send(state.control, &before, sizeof before, MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof before);
}

// Without sleeping where `restless`: nobody who sends pays for a wake-up then.
void serve(int documents, int questions, bool restless) {
    State state;
    const int epoll = epoll_create1(0);
    watch(epoll, documents);
    watch(epoll, questions);
    std::array<epoll_event, 64> events{};
    for (;;) {
        const int ready = epoll_wait(epoll, events.data(), static_cast<int>(events.size()), restless ? 0 : -1);
        for (int i = 0; i < ready; ++i) {
            const int descriptor = events[static_cast<size_t>(i)].data.fd;
            if (descriptor == state.control) {
                if (!answer(state)) return;
            } else if (descriptor == documents || descriptor == questions) {
                const int connection = accept(descriptor, nullptr, nullptr);
                if (connection < 0) continue;
                watch(epoll, connection);
                if (descriptor == questions) state.control = connection;
            } else {
                take(descriptor, state);
            }
        }
    }
}

// On all of 127.0.0.0/8; -1 when it cannot be.
int listen_somewhere(std::uint16_t& port) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    // As large for every connection: the system would let it grow, for some more than for others.
    setsockopt(listener, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
    if (bind(listener, generic, size) != 0 || listen(listener, SOMAXCONN) != 0 ||
        getsockname(listener, generic, &size) != 0) {
        return -1;
    }
    port = ntohs(address.sin_port);
    return listener;
}

// The numbers of those that this process may use.
std::vector<int> processors() {
    cpu_set_t allowed;
    sched_getaffinity(0, sizeof allowed, &allowed);
    std::vector<int> numbers;
    for (int i = 0; i < CPU_SETSIZE; ++i) {
        if (CPU_ISSET(i, &allowed)) numbers.push_back(i);
    }
    return numbers;
}

// The calling thread, from now on.
bool use_processor(int number) {
    cpu_set_t processor;
    CPU_ZERO(&processor);
    CPU_SET(number, &processor);
    return sched_setaffinity(0, sizeof processor, &processor) == 0;
}

// A processor that sleeps takes long to wake, and who waits for that changes from sample to sample. A thread of the
// lowest priority there is keeps it from sleeping; whatever else wants the processor gets it at once.
void keep_awake(int processor) {
    std::thread([processor] {
        const sched_param none{};
        if (!use_processor(processor) || sched_setscheduler(0, SCHED_IDLE, &none) != 0) return;
        for (;;) __builtin_ia32_pause();
    }).detach();
}

}  // namespace

int main() {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const std::vector<int> all = processors();
    for (const int processor : all) keep_awake(processor);
    use_processor(all.back());
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    std::uint16_t data_port = 0;
    std::uint16_t control_port = 0;
    const int documents = listen_somewhere(data_port);
    const int questions = listen_somewhere(control_port);
    if (documents < 0 || questions < 0) return 1;
    std::printf("%u %u %d", static_cast<unsigned>(data_port), static_cast<unsigned>(control_port), all[0]);
    for (size_t i = 1; i + 1 < all.size(); ++i) std::printf(",%d", all[i]);
    std::printf("\n");
    std::fflush(stdout);
    serve(documents, questions, all.size() > 1);
    return 0;
}
