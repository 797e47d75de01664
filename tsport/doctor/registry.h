// A key of the registry, read only.
#pragma once

#include <vector>

#include "host/text.h"

namespace tsport::doctor {

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
    std::vector<Text> subkeys() const;
    // The same; the Win32 code when they are not all.
    DWORD list_subkeys(std::vector<Text>& names) const;
    // The value's bytes, whatever its type, and their number in `size`; the Win32 code.
    DWORD read(LPCWSTR name, void* data, DWORD& size) const;
    // False when there is none of that type.
    bool read_text(LPCWSTR name, Text& text) const;
    bool read_number(LPCWSTR name, DWORD& number) const;

  private:
    HKEY key_ = nullptr;
    DWORD status_;
};

}  // namespace tsport::doctor
