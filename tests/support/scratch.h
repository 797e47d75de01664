// A folder of its own for a test, gone with everything in it when the test is over.
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>

#include "host/platform.h"
#include "host/setup.h"

// A stream as the product opens one ("r", "w" or "a", each with "b" too), or null.
inline FILE* open_stream(const host::Text& path, LPCWSTR mode) {
    const int access = mode[0] == W('r')   ? _O_RDONLY
                       : mode[0] == W('w') ? _O_WRONLY | _O_CREAT | _O_TRUNC
                                           : _O_WRONLY | _O_CREAT | _O_APPEND;
    const int kind = mode[1] == W('b') ? _O_BINARY : _O_TEXT;
    const int descriptor = _wopen(path.c_str(), access | kind | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
    return descriptor >= 0 ? _wfdopen(descriptor, mode) : nullptr;
}

class ScratchDir {
  public:
    ScratchDir() = default;
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(host::path_of(folder_), ignored);
    }

    // A path of this machine.
    const std::string& native() const { return folder_; }
    // As Windows' functions take it, without a separator at the end.
    const host::Text& path() const { return path_; }
    host::Text file(const host::Text& name) const { return path_ + W("\\") + name; }
    // The same for functions that take narrow text.
    std::string narrow(const std::string& name) const { return host::to_utf8(file(host::to_text(name))); }

  private:
    const std::string folder_ = host::make_temporary_folder();
    const host::Text path_ = host::windows_path(folder_);
};
