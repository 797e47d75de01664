// A port as administrators know it.
#pragma once

#include <string>
#include <vector>

#include "tools/host/text.h"
#include "winportmon/tsmon/tsmon.h"

namespace tsport {

using host::Text;

struct Port {
    Text name;
    Text address;
    DWORD number = 0;
};

constexpr DWORD default_number = 9100;
constexpr DWORD largest_number = 65535;

// What is wrong with it; empty when a port can have it.
std::string name_fault(const Text& name);
std::string address_fault(const Text& address);

// Letter case ignored, as the monitor does.
bool same_name(const Text& left, const Text& right);
// The same printer; names do not count.
bool same_printer(const Port& left, const Port& right);
// Null when there is none.
const Port* find_port(const std::vector<Port>& ports, const Text& name);

// The record that the monitor exchanges. The port has no fault.
tsmon::PortConfig to_config(const Port& port);
Port from_config(const tsmon::PortConfig& config);

}  // namespace tsport
