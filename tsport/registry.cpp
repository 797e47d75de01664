#include "tsport/registry.h"

#include <algorithm>

namespace tsport {

RegistryKey::RegistryKey(HKEY hive, const Text& path) {
    status_ = static_cast<DWORD>(RegOpenKeyExW(hive, path.c_str(), 0, KEY_READ, &key_));
    if (status_ != ERROR_SUCCESS) key_ = nullptr;
}

RegistryKey::~RegistryKey() {
    if (key_ != nullptr) RegCloseKey(key_);
}

std::vector<Text> RegistryKey::subkeys(DWORD* status) const {
    std::vector<Text> names;
    DWORD code = status_;
    while (code == ERROR_SUCCESS) {
        WCHAR name[256] = {};
        DWORD size = static_cast<DWORD>(std::size(name));
        const auto index = static_cast<DWORD>(names.size());
        code = static_cast<DWORD>(RegEnumKeyExW(key_, index, name, &size, nullptr, nullptr, nullptr, nullptr));
        if (code == ERROR_SUCCESS) names.emplace_back(name, size);
    }
    if (status != nullptr) *status = code == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : code;
    return names;
}

DWORD RegistryKey::read(LPCWSTR name, void* data, DWORD& size, DWORD* type) const {
    if (key_ == nullptr) return ERROR_FILE_NOT_FOUND;
    return static_cast<DWORD>(RegQueryValueExW(key_, name, nullptr, type, static_cast<BYTE*>(data), &size));
}

bool RegistryKey::read_text(LPCWSTR name, Text& text) const {
    WCHAR buffer[1024] = {};
    DWORD size = sizeof buffer - sizeof buffer[0];
    DWORD type = 0;
    if (read(name, buffer, size, &type) != ERROR_SUCCESS) return false;
    text = buffer;
    return type == REG_SZ;
}

bool RegistryKey::read_number(LPCWSTR name, DWORD& number) const {
    DWORD size = sizeof number;
    return read(name, &number, size) == ERROR_SUCCESS && size == sizeof number;
}

}  // namespace tsport
