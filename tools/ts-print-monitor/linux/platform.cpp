#include "tools/ts-print-monitor/platform.h"

#include <csignal>

#include <algorithm>

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

}  // namespace helper
