#include "tools/tsport/port.h"

#include <algorithm>

namespace tsport {
namespace {

std::string too_long(const char* what, size_t length, size_t most) {
    return std::string(what) + " has " + std::to_string(length) + " characters, " + std::to_string(most) +
           " are the most";
}

}  // namespace

std::string name_fault(const Text& name) {
    constexpr size_t most = tsmon::kPortNameSize - 1;
    if (name.empty()) return "the port's name is empty";
    if (name.size() > most) return too_long("the port's name", name.size(), most);
    if (name.find(W('\\')) != Text::npos) return "a port's name cannot have a backslash in it";
    return std::string();
}

std::string address_fault(const Text& address) {
    constexpr size_t most = tsmon::kPrinterAddressSize - 1;
    if (address.empty()) return "the printer's address is empty";
    if (address.size() > most) return too_long("the printer's address", address.size(), most);
    return std::string();
}

bool same_name(const Text& left, const Text& right) {
    return lstrcmpiW(left.c_str(), right.c_str()) == 0;
}

bool same_printer(const Port& left, const Port& right) {
    return left.address == right.address && left.number == right.number;
}

const Port* find_port(const std::vector<Port>& ports, const Text& name) {
    const auto found =
        std::find_if(ports.begin(), ports.end(), [&](const Port& port) { return same_name(port.name, name); });
    return found != ports.end() ? &*found : nullptr;
}

tsmon::PortConfig to_config(const Port& port) {
    tsmon::PortConfig config = {};
    std::copy(port.address.begin(), port.address.end(), config.printer_address);
    std::copy(port.name.begin(), port.name.end(), config.port_name);
    config.port_number = port.number;
    return config;
}

Port from_config(const tsmon::PortConfig& config) {
    return {tsmon::FieldText(config.port_name).text, tsmon::FieldText(config.printer_address).text, config.port_number};
}

}  // namespace tsport
