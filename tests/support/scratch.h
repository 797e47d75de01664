// A folder of its own for a test, gone with everything in it when the test is over.
#pragma once

#include "winapi/winapi.h"

#include <string>

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
