// A port as administrators know it.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/text.h"
#include "winportmon/contract/port_config.h"

namespace tsport {

using host::Text;

struct Port {
    Text name;
    Text address;
    DWORD number = 0;
};

// What is wrong with it, and what to type instead; empty when nothing is.
// What no port can have: ...
std::string name_fault(const Text& name);
std::string address_fault(const Text& address);
// ... and, beside that, what a new port should not have, although an existing one may.
std::string new_name_fault(const Text& name);
std::string new_address_fault(const Text& address);
std::string parse_port_number(const Text& text, DWORD& number);

// Letter case ignored, as the monitor does.
bool same_name(const Text& left, const Text& right);
struct NameOrder {
    bool operator()(const Text& left, const Text& right) const;
};
// As people count: "Room 2" before "Room 10".
bool natural_order(const Text& left, const Text& right);
// Ports by their names. The ports have to outlive it and stay in their places.
using PortIndex = std::map<Text, const Port*, NameOrder>;
PortIndex index_of(const std::vector<Port>& ports);

// "*" stands for any characters, "?" for one.
bool is_pattern(const Text& text);
bool matches(const Text& pattern, const Text& name);
// The names that are asked for, in the order of `names`: each pattern names a port itself or, with wildcards, several.
// Those that name none are added to `missing`. No pattern means all.
std::vector<Text> select_names(const std::vector<Text>& names, const std::vector<Text>& patterns,
                               std::vector<Text>& missing);

// Whether both lead to the same printer; names are ignored.
bool same_printer(const Port& left, const Port& right);

// The record that the monitor exchanges. The port has no fault.
contract::PortConfig to_config(const Port& port);
Port from_config(const contract::PortConfig& config);

}  // namespace tsport
