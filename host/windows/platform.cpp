#include "host/platform.h"

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <filesystem>

#include "winapi/spooler_sim/windows/redirect.h"
#include "winportmon/contract/names.h"

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
    return MONITOR_LIBRARY;
}

void clear_registry() {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, contract::kMonitorKey);
    for (const LPCWSTR key : contract::kInstallPathKeys) RegDeleteTreeW(HKEY_LOCAL_MACHINE, key);
}

bool use_simulated_spooler(HMODULE library) {
    return spooler_sim::redirect_calls_of(library != nullptr ? library : GetModuleHandleW(nullptr));
}

// The runtime's own arguments are in the machine's code page, which not every name can be written in.
std::vector<std::string> program_arguments(int, char**) {
    std::vector<std::string> texts;
    int count = 0;
    LPWSTR* const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 1; arguments != nullptr && i < count; ++i) texts.push_back(to_utf8(arguments[i]));
    LocalFree(arguments);
    return texts;
}

bool is_terminal(std::FILE* stream) {
    return _isatty(_fileno(stream)) != 0;
}

size_t terminal_width(std::FILE* stream) {
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
    // A line of the full width would be followed by an empty one.
    return GetConsoleScreenBufferInfo(handle, &info) ? static_cast<size_t>(info.srWindow.Right - info.srWindow.Left)
                                                     : 0;
}

Utf8Console::Utf8Console() : before_(GetConsoleOutputCP()) {
    SetConsoleOutputCP(CP_UTF8);
    _setmode(_fileno(stdin), _O_BINARY);  // what is piped in may be UTF-16
}
Utf8Console::~Utf8Console() {
    if (before_ != 0) SetConsoleOutputCP(before_);
}

}  // namespace host
