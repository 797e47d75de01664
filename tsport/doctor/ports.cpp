#include "tsport/doctor/ports.h"

#include <algorithm>
#include <map>

#include "tsport/answer.h"
#include "tsport/doctor/registry.h"
#include "tsport/file.h"
#include "tsport/ports/check.h"
#include "tsport/ports/ports_file.h"
#include "winportmon/contract/names.h"

namespace tsport::doctor {
namespace {

std::string set_command(const Port& port, const std::string& address) {
    return "tsport set " + named(port.name) + " " + address;
}

// A port as the monitor reads it: whatever the types, as long as the values fit. Returns why it skips it, or nothing.
std::string load(const RegistryKey& key, Port& port) {
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

std::vector<Port> read_registry_ports(HKEY hive, const Text& monitor_key, Findings& findings) {
    std::vector<Port> ports;
    const Text path = monitor_key + W("\\") + contract::kPortsKey;
    const RegistryKey parent(hive, path);
    for (const Text& name : parent.subkeys()) {
        Port port{name, Text(), 0};
        const RegistryKey key(hive, path + W("\\") + name);
        std::string why = name.size() >= contract::kPortNameSize
                              ? "its name has " + std::to_string(name.size()) + " characters, the limit is " +
                                    std::to_string(contract::kPortNameSize - 1)
                              : "";
        if (why.empty()) why = key.is_open() ? load(key, port) : "its key cannot be opened";
        if (why.empty()) {
            ports.push_back(port);
        } else {
            const std::string where = "HKLM\\" + host::to_utf8(path) + "\\" + shown(name);
            findings.add("ports.not-loaded", "the port " + named(name) + " is skipped: " + why,
                         "reg delete \"" + where + "\" /f, restart the spooler and add the port again: tsport add " +
                             named(name) + " HOST PORT");
        }
    }
    return ports;
}

bool read_file_ports(const std::string& path, std::vector<Port>& ports, Findings& findings, std::string& why) {
    std::string bytes;
    PortsFile file;
    std::string faults;
    if (!read_file(path, bytes, why)) return false;
    file.csv = has_csv_name(path);
    if (!parse_ports(bytes, path, file, faults)) {
        for (size_t begin = 0; begin < faults.size();) {
            const size_t end = std::min(faults.find('\n', begin), faults.size());
            findings.add("ports.bad-line", faults.substr(begin, end - begin),
                         "correct the line, or export the ports again");
            begin = end + 1;
        }
    }
    ports = file.ports();
    // Wrong lines have been reported.
    if (!faults.empty()) {
        std::erase_if(ports,
                      [](const Port& port) { return port.name.empty() || port.address.empty() || port.number == 0; });
    }
    return true;
}

void check_ports(const std::vector<Port>& ports, Findings& findings) {
    std::map<std::pair<Text, DWORD>, std::vector<const Port*>> users;
    for (const Port& port : ports) {
        const std::string name = named(port.name);
        const std::string odd = new_name_fault(port.name);
        if (!odd.empty()) {
            findings.add("ports.odd-name", "the port " + name + ": " + odd,
                         "add a port with another name, assign it to the printers, and tsport delete " + name);
        }
        const std::string wrong = new_address_fault(port.address);
        if (!wrong.empty()) {
            findings.add("ports.odd-address",
                         "the port " + name + " leads to \"" + shown(port.address) + "\": " + wrong,
                         set_command(port, "HOST"));
        }
        if (port.number == 0 || port.number > contract::kLargestPortNumber) {
            findings.add("ports.bad-number",
                         "the port " + name + " has the TCP port number " + std::to_string(port.number),
                         set_command(port, shown(port.address) + " 9100"));
        }
        Text address = port.address;
        for (WCHAR& c : address) c = c >= W('A') && c <= W('Z') ? static_cast<WCHAR>(c + 32) : c;
        users[{address, port.number}].push_back(&port);
    }
    for (const auto& [printer, of_it] : users) {
        if (of_it.size() < 2) continue;
        std::string names;
        for (const Port* port : of_it) names += (names.empty() ? "" : ", ") + named(port->name);
        findings.add("ports.same-printer", printer_of(*of_it[0]) + " is the printer of the ports " + names,
                     "let all queues of that printer use one of the ports, and tsport delete the others");
    }
    findings.saw("ports", counted(ports.size(), "port"));
}

void try_ports(const std::vector<Port>& ports, std::chrono::milliseconds limit, Findings& findings) {
    using contract::Verdict;
    std::vector<const Port*> tried;
    for (const Port& port : ports) {
        const bool sound = new_address_fault(port.address).empty();
        if (sound && port.number != 0 && port.number <= contract::kLargestPortNumber) tried.push_back(&port);
    }
    std::vector<contract::PrinterCheck> checks(tried.size());
    for_each_at_once(tried.size(), [&](size_t at) { checks[at] = check_printer(*tried[at], limit); });
    for (size_t i = 0; i < tried.size(); ++i) {
        const std::string name = named(tried[i]->name);
        const std::string what = "the port " + name + ": " + printer_of(*tried[i]) + " " + to_text(checks[i]);
        const std::string again = "tsport test " + name;
        switch (checks[i].verdict) {
            case Verdict::accepted:
                if (checks[i].silent == 0) break;
                findings.add(
                    "ports.silent-address", what,
                    "take the addresses that nothing answers at out of DNS, or " + set_command(*tried[i], "ADDRESS"));
                break;
            case Verdict::refused:
                findings.add("ports.refused", what,
                             "switch raw printing on at the device, or correct the number: " +
                                 set_command(*tried[i], shown(tried[i]->address) + " PORT"));
                break;
            case Verdict::no_answer:
            case Verdict::failed:
                findings.add("ports.no-answer", what,
                             "switch the device on, check its cable and the firewalls on the way; then " + again);
                break;
            case Verdict::unknown_name:
                findings.add("ports.unknown-host", what, "add the name to DNS, or " + set_command(*tried[i], "HOST"));
                break;
        }
    }
}

}  // namespace tsport::doctor
