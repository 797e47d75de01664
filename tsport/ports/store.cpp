#include "tsport/ports/store.h"

#include <algorithm>
#include <random>

#include "host/ports.h"
#include "host/setup.h"
#include "tsport/platform.h"

namespace tsport {

Store::Store() : path_(W("Software\\tsport-") + host::to_text(std::to_string(std::random_device()()))) {}

Store::~Store() {
    const Text ports = path_ + W("\\") + contract::kPortsKey;
    HKEY key = nullptr;
    if (RegOpenKeyExW(hive(), ports.c_str(), 0, KEY_ALL_ACCESS, &key) == ERROR_SUCCESS) {
        WCHAR name[256];
        for (DWORD size = 256; RegEnumKeyExW(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
             size = 256) {
            if (RegDeleteKeyW(key, name) != ERROR_SUCCESS) break;
        }
        RegCloseKey(key);
    }
    RegDeleteKeyW(hive(), ports.c_str());
    RegDeleteKeyW(hive(), path_.c_str());
}

HKEY Store::hive() const {
    return private_hive();
}

bool Store::write(const std::vector<Port>& ports) const {
    return std::all_of(ports.begin(), ports.end(), [this](const Port& port) {
        return host::store_port(port.name, port.address, port.number, hive(), path_);
    });
}

bool Store::read(std::vector<Port>& ports) const {
    std::vector<contract::PortConfig> stored;
    if (!host::read_stored_ports(stored, hive(), path_)) return false;
    for (const contract::PortConfig& config : stored) ports.push_back(from_config(config));
    return true;
}

}  // namespace tsport
