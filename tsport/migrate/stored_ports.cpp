#include "tsport/migrate/stored_ports.h"

#include "tsport/registry.h"
#include "tsport/spooler.h"
#include "winapi/tcpxcv.h"
#include "winportmon/contract/names.h"
#include "winportmon/contract/rules.h"

namespace tsport::migrate {
namespace {

// With a backslash behind it.
Text key_of(Monitor monitor) {
    const Text own = contract::kMonitorKey;
    const Text standard = Text(CONTRACT_WIDE(MONITORS_KEY) W("\\")) + kStandardMonitor;
    return (monitor == Monitor::standard ? standard : own) + W("\\") + contract::kPortsKey + W("\\");
}

// The Win32 code; what is missing is no error.
DWORD unless_missing(DWORD code) {
    return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND ? static_cast<DWORD>(ERROR_SUCCESS) : code;
}

// Its own address, or what it was before it was put into brackets.
std::string take_address(const Text& stored, Text& address) {
    address = stored;
    if (contract::AddressFault(address) == contract::Fault::brackets) address = contract::PartsOf(stored).address;
    return new_address_fault(address);
}

// What is wrong with a Standard TCP/IP port whose values are there.
std::string fault_of(const Port& port, DWORD protocol) {
    if (protocol == PROTOCOL_LPR_TYPE) return "it prints by LPR, this monitor only raw";
    if (protocol != PROTOCOL_RAWTCP_TYPE) return "its protocol, " + std::to_string(protocol) + ", is not known";
    if (port.number == 0 || port.number > contract::kLargestPortNumber) {
        return "its TCP port, " + std::to_string(port.number) + ", is not 1 to 65535";
    }
    return host::to_text(host::to_utf8(port.name)) != port.name ? "its name is not valid text" : "";
}

StoredPort read_values(Monitor monitor, const Text& name) {
    StoredPort found{{name, {}, 0}, {}};
    const RegistryKey key(HKEY_LOCAL_MACHINE, key_of(monitor) + name);
    const auto note = [&](LPCWSTR value, bool was_read, bool is_needed) {
        DWORD size = 0;
        const bool missing = key.is_open() && key.read(value, nullptr, size) == ERROR_FILE_NOT_FOUND;
        if (was_read || (missing && !is_needed) || found.state == StoredPort::State::unreadable) return;
        found.state = missing ? StoredPort::State::in_part : StoredPort::State::unreadable;
    };
    const bool standard = monitor == Monitor::standard;
    Text host;
    note(contract::kHostNameValue, key.read_text(contract::kHostNameValue, host), !standard);
    note(contract::kPortNumberValue, key.read_number(contract::kPortNumberValue, found.port.number), true);
    found.port.address = host;
    if (standard) {
        Text ip;  // of ports without a host name, or the address that the name had once
        DWORD protocol = 0;
        note(W("IPAddress"), key.read_text(W("IPAddress"), ip), false);
        note(W("Protocol"), key.read_number(W("Protocol"), protocol), true);
        const bool has_address = !host.empty() || !ip.empty();
        if (!has_address && found.state == StoredPort::State::whole) found.state = StoredPort::State::in_part;
        found.reason = take_address(host.empty() ? ip : host, found.port.address);
        if (const std::string fault = fault_of(found.port, protocol); !fault.empty()) found.reason = fault;
    }
    if (found.state != StoredPort::State::whole) found.reason = "its settings in the registry cannot be read";
    return found;
}

}  // namespace

DWORD read_ports(Monitor monitor, std::vector<StoredPort>& ports) {
    const RegistryKey key(HKEY_LOCAL_MACHINE, key_of(monitor));
    DWORD code = ERROR_SUCCESS;
    for (const Text& name : key.subkeys(&code)) ports.push_back(read_values(monitor, name));
    return key.is_open() ? code : unless_missing(code);
}

DWORD read_port(Monitor monitor, const Text& name, std::optional<StoredPort>& port) {
    port.reset();
    const RegistryKey key(HKEY_LOCAL_MACHINE, key_of(monitor) + name);
    if (!key.is_open()) return unless_missing(key.status());
    port = read_values(monitor, name);
    return port->state == StoredPort::State::unreadable ? static_cast<DWORD>(ERROR_READ_FAULT) : ERROR_SUCCESS;
}

DWORD delete_stored(Monitor monitor, const Text& name) {
    return unless_missing(static_cast<DWORD>(RegDeleteKeyW(HKEY_LOCAL_MACHINE, (key_of(monitor) + name).c_str())));
}

}  // namespace tsport::migrate
