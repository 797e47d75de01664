#include <algorithm>
#include <map>

#include "tsport/answer.h"
#include "tsport/doctor/server.h"
#include "tsport/file.h"
#include "tsport/ports/check.h"
#include "tsport/ports/encoding.h"
#include "tsport/ports/ports_file.h"
#include "tsport/registry.h"
#include "winportmon/contract/names.h"

namespace tsport::doctor {
namespace {

void add(Findings& findings, const char* id, const Port& port, const std::string& what) {
    findings.add(id, "the port " + named(port.name) + what, host::to_utf8(port.name));
}

// A port as the monitor reads it: whatever the types, as long as the values fit. Returns why it skips it, or nothing.
std::string load(const RegistryKey& key, Port& port) {
    if (port.name.size() >= contract::kPortNameSize) {
        return "its name has " + std::to_string(port.name.size()) + " characters, the limit is " +
               std::to_string(contract::kPortNameSize - 1);
    }
    if (!key.is_open()) return "its key cannot be opened";
    WCHAR address[contract::kPrinterAddressSize] = {};
    DWORD size = sizeof address;
    if (const DWORD error = key.read(contract::kHostNameValue, address, size)) {
        return "its HostName cannot be read: " + host::error_message(error);
    }
    port.address.assign(address, std::find(address, address + size / sizeof(WCHAR), W('\0')));
    size = sizeof port.number;
    if (const DWORD error = key.read(contract::kPortNumberValue, &port.number, size)) {
        return "its PortNumber cannot be read: " + host::error_message(error);
    }
    return "";
}

}  // namespace

std::vector<Port> read_registry_ports(HKEY hive, Findings& findings) {
    std::vector<Port> ports;
    const Text path = contract::kMonitorKey + Text(W("\\")) + contract::kPortsKey;
    for (const Text& name : RegistryKey(hive, path).subkeys()) {
        Port port{name, Text(), 0};
        const std::string why = load(RegistryKey(hive, path + W("\\") + name), port);
        if (why.empty()) {
            ports.push_back(port);
        } else {
            add(findings, "ports.not-loaded", port, " is skipped: " + why);
        }
    }
    return ports;
}

bool read_file_ports(const std::string& path, std::vector<Port>& ports, Findings& findings, std::string& why) {
    std::string bytes;
    PortsFile file;
    if (!read_file(path, bytes, why)) return false;
    file.csv = has_csv_name(path);
    for (const Fault& fault : parse_ports(bytes, file)) findings.add("ports.bad-line", to_text({fault}, path));
    ports = file.ports();
    return true;
}

void check_ports(const std::vector<Port>& ports, Findings& findings) {
    std::map<std::pair<Text, DWORD>, std::vector<const Port*>> users;
    for (const Port& port : ports) {
        const std::string odd = new_name_fault(port.name);
        if (!odd.empty()) add(findings, "ports.odd-name", port, ": " + odd);
        const std::string wrong = new_address_fault(port.address);
        if (!wrong.empty()) {
            add(findings, "ports.odd-address", port, " leads to \"" + shown(port.address) + "\": " + wrong);
        }
        if (port.number == 0 || port.number > contract::kLargestPortNumber) {
            add(findings, "ports.bad-number", port, " has the TCP port number " + std::to_string(port.number));
        }
        Text address = port.address;
        for (WCHAR& c : address) c = c >= W('A') && c <= W('Z') ? static_cast<WCHAR>(c + 32) : c;
        users[{address, port.number}].push_back(&port);
    }
    for (const auto& [printer, of_it] : users) {
        if (of_it.size() < 2) continue;
        command_line::Words names;
        for (const Port* port : of_it) names.push_back(named(port->name));
        findings.add("ports.same-printer",
                     printer_of(*of_it[0]) + " is the printer of the ports " + first_of(names, ", "));
    }
    findings.saw("ports", counted(ports.size(), "port"), ports.size());
}

void try_ports(const std::vector<Port>& ports, std::chrono::milliseconds limit, Findings& findings) {
    std::vector<Port> tried;
    for (const Port& port : ports) {
        const bool sound = new_address_fault(port.address).empty();
        if (sound && port.number != 0 && port.number <= contract::kLargestPortNumber) tried.push_back(port);
    }
    const std::vector<contract::PrinterCheck> checks = check_printers(tried, limit);
    for (size_t i = 0; i < tried.size(); ++i) {
        static constexpr const char* ids[] = {"ports.silent-address", "ports.refused", "ports.no-answer",
                                              "ports.unknown-host", "ports.no-answer"};  // by Verdict
        const contract::PrinterCheck& check = checks[i];
        if (check.verdict == contract::Verdict::accepted && check.silent == 0) continue;
        add(findings, ids[static_cast<size_t>(check.verdict)], tried[i],
            ": " + printer_of(tried[i]) + " " + to_text(check));
    }
}

}  // namespace tsport::doctor
