// A key of the registry, read only.
#pragma once

#include <vector>

#include "host/text.h"

namespace tsport {

using host::Text;

class RegistryKey {
  public:
    RegistryKey(HKEY hive, const Text& path);
    ~RegistryKey();
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;

    bool is_open() const { return key_ != nullptr; }
    // Why it is not open; ERROR_SUCCESS when it is.
    DWORD status() const { return status_; }
    // `status`, which may be null, gets the Win32 code: why they are not all.
    std::vector<Text> subkeys(DWORD* status = nullptr) const;
    // The value's bytes, whatever its type, and their number in `size`; the Win32 code.
    DWORD read(LPCWSTR name, void* data, DWORD& size, DWORD* type = nullptr) const;
    // False when there is none of that type.
    bool read_text(LPCWSTR name, Text& text) const;
    bool read_number(LPCWSTR name, DWORD& number) const;

  private:
    HKEY key_ = nullptr;
    DWORD status_;
};

}  // namespace tsport
