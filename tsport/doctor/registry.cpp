#include "tsport/doctor/registry.h"

#include <algorithm>

namespace tsport::doctor {

RegistryKey::RegistryKey(HKEY hive, const Text& path) {
    status_ = static_cast<DWORD>(RegOpenKeyExW(hive, path.c_str(), 0, KEY_READ, &key_));
    if (status_ != ERROR_SUCCESS) key_ = nullptr;
}

RegistryKey::~RegistryKey() {
    if (key_ != nullptr) RegCloseKey(key_);
}

std::vector<Text> RegistryKey::subkeys() const {
    std::vector<Text> names;
    list_subkeys(names);
    return names;
}

DWORD RegistryKey::list_subkeys(std::vector<Text>& names) const {
    LSTATUS status = static_cast<LSTATUS>(status_);
    for (DWORD index = 0; status == ERROR_SUCCESS; ++index) {
        WCHAR name[256] = {};
        DWORD size = static_cast<DWORD>(std::size(name));
        status = RegEnumKeyExW(key_, index, name, &size, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_SUCCESS) names.emplace_back(name, size);
    }
    return status == ERROR_NO_MORE_ITEMS ? static_cast<DWORD>(ERROR_SUCCESS) : static_cast<DWORD>(status);
}

DWORD RegistryKey::read(LPCWSTR name, void* data, DWORD& size) const {
    if (key_ == nullptr) return ERROR_FILE_NOT_FOUND;
    return static_cast<DWORD>(RegQueryValueExW(key_, name, nullptr, nullptr, static_cast<BYTE*>(data), &size));
}

bool RegistryKey::read_text(LPCWSTR name, Text& text) const {
    WCHAR buffer[1024] = {};
    DWORD size = sizeof buffer - sizeof buffer[0];
    DWORD type = 0;
    if (key_ == nullptr ||
        RegQueryValueExW(key_, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size) != ERROR_SUCCESS) {
        return false;
    }
    text = buffer;
    return type == REG_SZ;
}

bool RegistryKey::read_number(LPCWSTR name, DWORD& number) const {
    DWORD size = sizeof number;
    return read(name, &number, size) == ERROR_SUCCESS && size == sizeof number;
}

}  // namespace tsport::doctor
