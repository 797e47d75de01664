// A folder of its own for a test, gone with everything in it when the test is over.
#pragma once

#include "winapi/winapi.h"

#include <cstdio>
#include <string>

// A stream as the product opens one ("r", "w" or "a", each with "b" too), or null.
inline FILE* open_stream(const std::basic_string<WCHAR>& path, LPCWSTR mode) {
    const int access = mode[0] == W('r')   ? _O_RDONLY
                       : mode[0] == W('w') ? _O_WRONLY | _O_CREAT | _O_TRUNC
                                           : _O_WRONLY | _O_CREAT | _O_APPEND;
    const int kind = mode[1] == W('b') ? _O_BINARY : _O_TEXT;
    const int descriptor = _wopen(path.c_str(), access | kind | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
    return descriptor >= 0 ? _wfdopen(descriptor, mode) : nullptr;
}

class ScratchDir {
  public:
    ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    ~ScratchDir();

    // "C:\...", without a separator at the end.
    const std::basic_string<WCHAR>& path() const { return path_; }
    std::basic_string<WCHAR> file(const std::basic_string<WCHAR>& name) const { return path_ + W("\\") + name; }
    // The same for functions that take narrow text.
    std::string narrow(const std::string& name) const;

  private:
    std::basic_string<WCHAR> path_;
};
