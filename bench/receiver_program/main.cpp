// bench_receiver COMMAND...: runs a benchmark and receives what its cases send, on a processor of its own where there
// are two or more. The benchmark is told the TCP port for documents and the one for questions ("--receiver
// DATA:QUESTIONS"); of the second one connection is taken, on which each byte is a command that is answered with what
// was counted before: 0 counts anew, ? nothing else, and after - nothing is looked for until the next 0. Meanwhile it
// keeps the processors awake. It ends with the benchmark, and as that.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "bench/receiver_program/own_network.h"

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
    bool looking = true;  // rather than sleeping until something comes
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
    if (command != '?') state.looking = command == '0';
    return send(state.control, &before, sizeof before, MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof before);
}

// With a processor of its own it looks for data without sleeping: nobody who sends pays for a wake-up then.
void serve(int documents, int questions, bool alone) {
    State state;
    const int epoll = epoll_create1(0);
    watch(epoll, documents);
    watch(epoll, questions);
    std::array<epoll_event, 64> events{};
    for (;;) {
        const int ready =
            epoll_wait(epoll, events.data(), static_cast<int>(events.size()), alone && state.looking ? 0 : -1);
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

// The calling thread, and what it starts, from now on.
bool use_processors(const std::vector<int>& numbers) {
    cpu_set_t set;
    CPU_ZERO(&set);
    for (const int number : numbers) CPU_SET(number, &set);
    return sched_setaffinity(0, sizeof set, &set) == 0;
}

// A processor that sleeps takes long to wake, and who waits for that changes from sample to sample. A thread of the
// lowest priority there is keeps it from sleeping; whatever else wants the processor gets it at once.
void keep_awake(int processor) {
    std::thread([processor] {
        const sched_param none{};
        if (!use_processors({processor}) || sched_setscheduler(0, SCHED_IDLE, &none) != 0) return;
        for (;;) __builtin_ia32_pause();
    }).detach();
}

// As many connections can be open as the system allows, here and in what is started.
void raise_limits() {
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
}

// On all processors but the last one; its number, or -1.
pid_t start(char** command, const std::vector<int>& processors, const std::string& ports) {
    const pid_t child = fork();
    if (child != 0) return child;
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (processors.size() > 1) use_processors({processors.begin(), processors.end() - 1});
    std::vector<char*> words;
    for (; *command != nullptr; ++command) words.push_back(*command);
    std::string option = "--receiver";
    std::string value = ports;
    words.insert(words.end(), {option.data(), value.data(), nullptr});
    execvp(words[0], words.data());
    std::perror(words[0]);
    _exit(127);
}

int fail(const char* reason) {
    std::fprintf(stderr, "bench_receiver: %s\n", reason);
    return 1;
}

}  // namespace

int main(int count, char** words) {
    if (count < 2) return fail("usage: bench_receiver COMMAND...");
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (!bench::enter_own_network()) return fail("the network of its own cannot be used");
    std::uint16_t data_port = 0;
    std::uint16_t question_port = 0;
    const int documents = listen_somewhere(data_port);
    const int questions = listen_somewhere(question_port);
    if (documents < 0 || questions < 0) return fail("no port to listen on");
    raise_limits();
    const std::vector<int> all = processors();
    const pid_t benchmark = start(words + 1, all, std::to_string(data_port) + ":" + std::to_string(question_port));
    if (benchmark < 0) return fail("the benchmark cannot be started");
    for (const int processor : all) keep_awake(processor);
    std::thread([&] {
        use_processors({all.back()});
        serve(documents, questions, all.size() > 1);
    }).detach();
    int status = 0;
    waitpid(benchmark, &status, 0);
    std::fflush(nullptr);
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
}
