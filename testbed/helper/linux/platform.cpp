#include "testbed/helper/platform.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

namespace helper {

std::filesystem::path own_path() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error);
}

// There "Z:" is the root of this machine.
std::filesystem::path path_from_monitor(const std::string& path) {
    std::string native = path.starts_with("Z:") ? path.substr(2) : path;
    std::replace(native.begin(), native.end(), '\\', '/');
    return native;
}

void prepare_streams() {
    std::signal(SIGPIPE, SIG_IGN);
}

void wait_until_output_is_read() {
    int unread = 0;
    while (ioctl(STDOUT_FILENO, FIONREAD, &unread) == 0 && unread > 0) {
        pollfd output{STDOUT_FILENO, 0, 0};
        if (poll(&output, 1, 1) != 0) return;  // an error is all there can be: nobody reads
    }
}

}  // namespace helper
