#include "tools/host/platform.h"

#include <io.h>

#include <filesystem>

#include "winapi/spooler_sim/windows/redirect.h"

namespace host {
namespace fs = std::filesystem;

Text windows_path(const std::string& native) {
    return fs::absolute(to_text(native)).lexically_normal().make_preferred().wstring();
}

std::string executable_folder() {
    constexpr DWORD longest = 32767;
    Text path(longest, 0);
    path.resize(GetModuleFileNameW(nullptr, path.data(), longest));
    return utf8_of(fs::path(path).parent_path());
}

const char* monitor_file_name() {
    return "tsprintportmon.dll";
}

bool use_simulated_spooler(HMODULE library) {
    return spooler_sim::redirect_calls_of(library != nullptr ? library : GetModuleHandleW(nullptr));
}

bool stdout_is_terminal() {
    return _isatty(_fileno(stdout)) != 0;
}

}  // namespace host
