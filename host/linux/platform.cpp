#include "host/platform.h"

#include <sys/ioctl.h>
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

void clear_registry() {
    winapi::clear_registry();
}

// Nothing else is there.
bool use_simulated_spooler(HMODULE) {
    return true;
}

std::vector<std::string> program_arguments(int count, char** arguments) {
    return std::vector<std::string>(arguments + 1, arguments + count);
}

bool is_terminal(std::FILE* stream) {
    return isatty(fileno(stream)) == 1;
}

size_t terminal_width(std::FILE* stream) {
    winsize size = {};
    return ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

Utf8Console::Utf8Console() : before_(0) {}
Utf8Console::~Utf8Console() = default;

}  // namespace host
