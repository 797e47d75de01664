#include "tsport/ports/store.h"

#include <random>

#include "tsport/platform.h"

namespace tsport {
namespace {

constexpr const WCHAR* address_value = W("HostName");
constexpr const WCHAR* number_value = W("PortNumber");

class Key {
  public:
    Key() = default;
    ~Key() {
        if (key_ != nullptr) RegCloseKey(key_);
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    bool create(HKEY parent, const Text& path) {
        return RegCreateKeyExW(parent, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr,
                               &key_, nullptr) == ERROR_SUCCESS;
    }
    bool open(HKEY parent, const Text& path) {
        return RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ, &key_) == ERROR_SUCCESS;
    }
    bool set(LPCWSTR name, DWORD type, const void* data, size_t size) const {
        return RegSetValueExW(key_, name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size)) ==
               ERROR_SUCCESS;
    }
    bool get(LPCWSTR name, void* data, DWORD size) const {
        return RegQueryValueExW(key_, name, nullptr, nullptr, static_cast<BYTE*>(data), &size) == ERROR_SUCCESS;
    }
    bool subkey(DWORD index, Text& name) const {
        WCHAR buffer[256] = {};
        DWORD size = 256;
        if (RegEnumKeyExW(key_, index, buffer, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            return false;
        name.assign(buffer, size);
        return true;
    }

  private:
    HKEY key_ = nullptr;
};

Text ports_below(const Text& path) {
    return path + W("\\Ports");
}

}  // namespace

Store::Store() : path_(W("Software\\tsport-") + host::to_text(std::to_string(std::random_device()()))) {}

Store::~Store() {
    const Text ports = ports_below(path_);
    std::vector<Text> names;
    {
        Key key;
        Text name;
        for (DWORD i = 0; key.open(hive(), ports) && key.subkey(i, name); ++i) names.push_back(name);
    }
    for (const Text& name : names) RegDeleteKeyW(hive(), (ports + W("\\") + name).c_str());
    RegDeleteKeyW(hive(), ports.c_str());
    RegDeleteKeyW(hive(), path_.c_str());
}

HKEY Store::hive() const {
    return private_hive();
}

bool Store::write(const std::vector<Port>& ports) const {
    for (const Port& port : ports) {
        const tsmon::PortConfig config = to_config(port);
        Key key;
        if (!key.create(hive(), ports_below(path_) + W("\\") + port.name) ||
            !key.set(address_value, REG_SZ, config.printer_address, sizeof config.printer_address) ||
            !key.set(number_value, REG_DWORD, &config.port_number, sizeof config.port_number)) {
            return false;
        }
    }
    return true;
}

bool Store::read(std::vector<Port>& ports) const {
    Key parent;
    Text name;
    if (!parent.open(hive(), ports_below(path_))) return true;
    for (DWORD i = 0; parent.subkey(i, name); ++i) {
        Key key;
        tsmon::PortConfig config = {};
        if (!key.open(hive(), ports_below(path_) + W("\\") + name) ||
            !key.get(address_value, config.printer_address, sizeof config.printer_address) ||
            !key.get(number_value, &config.port_number, sizeof config.port_number)) {
            return false;
        }
        Port port = from_config(config);
        port.name = name;
        ports.push_back(port);
    }
    return true;
}

}  // namespace tsport
