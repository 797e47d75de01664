#include "bench/receiver_program/own_network.h"

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

namespace bench {
namespace {

bool write_text(const char* path, const std::string& text) {
    std::ofstream file(path);
    return (file << text).flush().good();
}

bool unshare_network() {
    const std::string user = std::to_string(getuid());
    const std::string group = std::to_string(getgid());
    if (unshare(CLONE_NEWNET) == 0) return true;
    // A user without that right has it in a user namespace; there, too, it is the user that owns its files.
    return unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0 && write_text("/proc/self/setgroups", "deny") &&
           write_text("/proc/self/uid_map", user + " " + user + " 1") &&
           write_text("/proc/self/gid_map", group + " " + group + " 1");
}

bool raise_loopback() {
    const int any = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strcpy(request.ifr_name, "lo");
    request.ifr_flags = IFF_UP;
    const bool up = ioctl(any, SIOCSIFFLAGS, &request) == 0;
    close(any);
    return up;
}

}  // namespace

bool enter_own_network() {
    if (!unshare_network()) {
        std::fprintf(stderr, "bench_receiver: no network of its own (%s): the figures swing with the machine's TCP\n",
                     std::strerror(errno));
        return true;
    }
    return raise_loopback() && write_text("/proc/sys/net/ipv4/tcp_congestion_control", "reno");
}

}  // namespace bench
