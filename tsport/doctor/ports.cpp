#include "tsport/doctor/ports.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <thread>

#include "host/connect.h"
#include "tsport/answer.h"
#include "tsport/doctor/registry.h"
#include "tsport/file.h"
#include "tsport/ports/ports_file.h"

namespace tsport::doctor {
namespace {

std::string set_command(const Port& port, const std::string& address) {
    return "tsport set " + named(port.name) + " " + address;
}

// A port as the monitor reads it: whatever the types, as long as the values fit. Returns why it skips it, or nothing.
std::string load(const RegistryKey& key, Port& port) {
    WCHAR address[tsmon::kPrinterAddressSize] = {};
    DWORD size = sizeof address;
    if (const DWORD error = key.read(W("HostName"), address, size)) {
        return "its HostName cannot be read: " + host::error_message(error);
    }
    port.address.assign(address, std::find(address, address + size / sizeof(WCHAR), W('\0')));
    size = sizeof port.number;
    if (const DWORD error = key.read(W("PortNumber"), &port.number, size)) {
        return "its PortNumber cannot be read: " + host::error_message(error);
    }
    return "";
}

}  // namespace

std::vector<Port> read_registry_ports(HKEY hive, const Text& monitor_key, Findings& findings) {
    std::vector<Port> ports;
    const Text path = monitor_key + W("\\Ports");
    const RegistryKey parent(hive, path);
    for (const Text& name : parent.subkeys()) {
        Port port{name, Text(), 0};
        const RegistryKey key(hive, path + W("\\") + name);
        std::string why = name.size() >= tsmon::kPortNameSize
                              ? "its name has " + std::to_string(name.size()) + " characters, the limit is " +
                                    std::to_string(tsmon::kPortNameSize - 1)
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
        std::string odd = new_name_fault(port.name);
        if (odd.empty() && (port.name.front() == W(' ') || port.name.back() == W(' ')))
            odd = "it has a blank at its end";
        if (!odd.empty()) {
            findings.add("ports.odd-name", "the port " + name + ": " + odd,
                         "add a port with another name, assign it to the printers, and tsport delete " + name);
        }
        std::string wrong = address_fault(port.address);
        if (wrong.empty()) wrong = new_address_fault(port.address);
        if (!wrong.empty()) {
            findings.add("ports.odd-address",
                         "the port " + name + " leads to \"" + shown(port.address) + "\": " + wrong,
                         set_command(port, "HOST"));
        }
        if (port.number == 0 || port.number > largest_number) {
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
    constexpr size_t at_once = 64;
    std::vector<const Port*> tried;
    for (const Port& port : ports) {
        const bool odd = !address_fault(port.address).empty() || !new_address_fault(port.address).empty();
        if (!odd && port.number != 0 && port.number <= largest_number) tried.push_back(&port);
    }
    std::vector<host::Verdict> verdicts(tried.size(), host::Verdict::no_answer);
    std::atomic<size_t> next{0};
    std::vector<std::thread> threads;
    for (size_t i = 0; i < std::min(at_once, tried.size()); ++i) {
        threads.emplace_back([&] {
            for (size_t at = next++; at < tried.size(); at = next++) {
                verdicts[at] = host::try_connection(host::to_utf8(tried[at]->address),
                                                    static_cast<std::uint16_t>(tried[at]->number), limit);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (size_t i = 0; i < tried.size(); ++i) {
        const std::string what = "the port " + named(tried[i]->name) + ": " + printer_of(*tried[i]);
        const std::string again = "tsport test " + named(tried[i]->name);
        switch (verdicts[i]) {
            case host::Verdict::accepted:
                break;
            case host::Verdict::refused:
                findings.add("ports.refused", what + " refuses connections",
                             "switch raw printing on at the device, or correct the number: " +
                                 set_command(*tried[i], shown(tried[i]->address) + " PORT"));
                break;
            case host::Verdict::no_answer:
                findings.add("ports.no-answer", what + " does not answer",
                             "switch the device on, check its cable and the firewalls on the way; then " + again);
                break;
            case host::Verdict::unknown_name:
                findings.add("ports.unknown-host", what + " has a name that is unknown here",
                             "add the name to DNS, or " + set_command(*tried[i], "HOST"));
                break;
        }
    }
}

}  // namespace tsport::doctor
