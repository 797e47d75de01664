#include "tsport/migrate/stored_ports.h"

#include "tsport/doctor/registry.h"
#include "winportmon/contract/names.h"
#include "winportmon/contract/rules.h"

namespace tsport::migrate {
namespace {

constexpr WCHAR standard_key[] = CONTRACT_WIDE(MONITORS_KEY) W("\\Standard TCP/IP Port\\Ports");
const Text own_key = contract::kMonitorKey + Text(W("\\")) + contract::kPortsKey;
constexpr DWORD raw_protocol = 1;
constexpr DWORD lpr_protocol = 2;

// Subkeys of the key, and not only some of them.
DWORD list_subkeys(const Text& path, std::vector<Text>& names) {
    HKEY key = nullptr;
    LSTATUS status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key);
    if (status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND) return ERROR_SUCCESS;
    if (status != ERROR_SUCCESS) return static_cast<DWORD>(status);
    while (status == ERROR_SUCCESS) {
        WCHAR name[256] = {};
        DWORD size = static_cast<DWORD>(std::size(name));
        status = RegEnumKeyExW(key, static_cast<DWORD>(names.size()), name, &size, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_SUCCESS) names.emplace_back(name, size);
    }
    RegCloseKey(key);
    return status == ERROR_NO_MORE_ITEMS ? static_cast<DWORD>(ERROR_SUCCESS) : static_cast<DWORD>(status);
}

// Its own address, or what it was before it was put into brackets.
std::string take_address(const Text& stored, Text& address) {
    address = stored;
    if (contract::AddressFault(address) == contract::Fault::brackets) address = contract::PartsOf(stored).address;
    return new_address_fault(address);
}

// False when it is there and cannot be read.
bool read_if_there(const doctor::RegistryKey& key, LPCWSTR name, Text& text) {
    DWORD size = 0;
    return key.read_text(name, text) || key.read(name, nullptr, size) == ERROR_FILE_NOT_FOUND;
}

StandardPort read_standard_port(const Text& name) {
    StandardPort found{{name, {}, 0}, {}};
    const doctor::RegistryKey key(HKEY_LOCAL_MACHINE, standard_key + Text(W("\\")) + name);
    DWORD protocol = 0;
    Text host;
    Text ip;
    // The second one is of ports without the first, or the address that the name had once.
    if (!read_if_there(key, contract::kHostNameValue, host) || !read_if_there(key, W("IPAddress"), ip) ||
        !key.read_number(W("Protocol"), protocol) || !key.read_number(contract::kPortNumberValue, found.port.number)) {
        found.reason = "its settings in the registry cannot be read";
        return found;
    }
    found.reason = take_address(host.empty() ? ip : host, found.port.address);
    if (protocol == lpr_protocol) {
        found.reason = "it prints by LPR, this monitor only raw";
    } else if (protocol != raw_protocol) {
        found.reason = "its protocol, " + std::to_string(protocol) + ", is not known";
    } else if (found.port.number == 0 || found.port.number > contract::kLargestPortNumber) {
        found.reason = "its TCP port, " + std::to_string(found.port.number) + ", is not 1 to 65535";
    } else if (host::to_text(host::to_utf8(name)) != name) {
        found.reason = "its name is not valid text";
    }
    return found;
}

}  // namespace

DWORD read_standard_ports(std::vector<StandardPort>& ports) {
    std::vector<Text> names;
    const DWORD code = list_subkeys(standard_key, names);
    for (const Text& name : names) ports.push_back(read_standard_port(name));
    return code;
}

DWORD read_own_ports(std::vector<Port>& ports) {
    std::vector<Text> names;
    const DWORD code = list_subkeys(own_key, names);
    for (const Text& name : names) {
        const doctor::RegistryKey key(HKEY_LOCAL_MACHINE, own_key + W("\\") + name);
        Port port{name, {}, 0};
        DWORD size = 0;
        const bool whole = key.read_text(contract::kHostNameValue, port.address) &&
                           key.read_number(contract::kPortNumberValue, port.number);
        const bool in_part = !whole && key.is_open() &&
                             (key.read(contract::kHostNameValue, nullptr, size) == ERROR_FILE_NOT_FOUND ||
                              key.read(contract::kPortNumberValue, nullptr, size) == ERROR_FILE_NOT_FOUND);
        if (!whole && !in_part) return ERROR_READ_FAULT;
        if (whole) ports.push_back(port);
    }
    return code;
}

}  // namespace tsport::migrate
