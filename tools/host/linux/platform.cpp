#include "tools/host/platform.h"

#include <unistd.h>

#include <filesystem>

#include "winapi/linux/control.h"

namespace host {

Text windows_path(const std::string& native) {
    return winapi::windows_path(std::filesystem::absolute(native).lexically_normal().string());
}

std::string executable_folder() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).parent_path().string();
}

const char* monitor_file_name() {
    return "tsprintportmon.so";
}

// Nothing else is there.
bool use_simulated_spooler(HMODULE) {
    return true;
}

bool stdout_is_terminal() {
    return isatty(STDOUT_FILENO) == 1;
}

}  // namespace host
