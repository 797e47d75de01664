#include "testbed/helper/platform.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>

namespace helper {

std::filesystem::path own_path() {
    constexpr DWORD longest = 32767;
    std::wstring path(longest, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), longest));
    return path;
}

std::filesystem::path path_from_monitor(const std::string& path) {
    return std::filesystem::path(std::u8string(path.begin(), path.end()));
}

void prepare_streams() {
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY);
}

void wait_until_output_is_read() {
    FlushFileBuffers(GetStdHandle(STD_OUTPUT_HANDLE));
}

}  // namespace helper
