#include "tsport/ports/port.h"

#include <algorithm>
#include <compare>
#include <set>

#include "host/ports.h"
#include "tsport/output.h"
#include "winportmon/contract/rules.h"

namespace tsport {
namespace {

// What the address should have been.
std::string instead(const Text& address) {
    const contract::AddressParts parts = contract::PartsOf(address);
    std::string words = shown(Text(parts.address));
    if (!parts.port_number.empty()) words += " " + shown(Text(parts.port_number));
    return parts.address.empty() ? "" : "; type " + words;
}

using contract::Fault;

// What is said of a fault in a name, and in an address.
struct FaultText {
    Fault fault;
    const char* name;
    const char* address;
};
constexpr FaultText fault_texts[] = {
    {Fault::none, "", ""},
    {Fault::empty, "the port's name is empty", "the printer's address is empty"},
    {Fault::too_long, "the port's name has % characters, the limit is 64",
     "the printer's address has % characters, the limit is 128"},
    {Fault::backslash, "a port name cannot contain a backslash", ""},
    {Fault::blank, "a port name cannot begin or end with a blank", "an address cannot contain blanks"},
    {Fault::invisible, "a port name cannot contain invisible characters, or blanks other than the space",
     "an address cannot contain invisible characters"},
    {Fault::comma, "a port name cannot contain a comma: Windows separates the ports of a printer by commas", ""},
    {Fault::windows_port, "Windows has its own port of this name", ""},
    {Fault::session_port, "at its start Windows deletes the queues of ports whose names begin with TS and a digit", ""},
    {Fault::scheme, "", "an address does not include a scheme such as http://"},
    {Fault::slash, "", "an address cannot contain slashes"},
    {Fault::brackets, "", "an address is written without brackets"},
    {Fault::with_port_number, "", "the TCP port is given separately, after the address"},
    {Fault::numeric, "", "an IP address has four numbers from 0 to 255, without leading zeros"},
};
static_assert(contract::kPortNameSize == 65 && contract::kPrinterAddressSize == 129);

std::string fault_text(Fault fault, const char* FaultText::*kind, size_t length) {
    const auto found = std::find_if(std::begin(fault_texts), std::end(fault_texts),
                                    [fault](const FaultText& text) { return text.fault == fault; });
    std::string text = (*found).*kind;
    if (fault == Fault::too_long) text.replace(text.find('%'), 1, std::to_string(length));
    return text;
}

}  // namespace

std::string name_fault(const Text& name) {
    return contract::IsImpossible(contract::NameFault(name)) ? new_name_fault(name) : "";
}

std::string new_name_fault(const Text& name) {
    return fault_text(contract::NameFault(name), &FaultText::name, name.size());
}

std::string address_fault(const Text& address) {
    return contract::IsImpossible(contract::AddressFault(address)) ? new_address_fault(address) : "";
}

std::string new_address_fault(const Text& address) {
    const Fault fault = contract::AddressFault(address);
    const bool has_more = fault >= Fault::scheme && fault <= Fault::with_port_number;
    return fault_text(fault, &FaultText::address, address.size()) + (has_more ? instead(address) : "");
}

std::string parse_port_number(const Text& text, DWORD& number) {
    number = contract::ParsePortNumber(text);
    return number != 0 ? "" : "the port number is not 1 to 65535: " + shown(text);
}

bool same_name(const Text& left, const Text& right) {
    return lstrcmpiW(left.c_str(), right.c_str()) == 0;
}

bool NameOrder::operator()(const Text& left, const Text& right) const {
    return lstrcmpiW(left.c_str(), right.c_str()) < 0;
}

bool natural_order(const Text& left, const Text& right) {
    const Text digits = W("0123456789");
    size_t l = 0;
    size_t r = 0;
    while (l < left.size() && r < right.size()) {
        const bool number = digits.find(left[l]) != Text::npos;
        if (number != (digits.find(right[r]) != Text::npos)) return number;
        // Of both the digits, or the text up to the next digit.
        const auto take = [&](const Text& text, size_t& at) {
            const size_t begin = number ? std::min(text.find_first_not_of(W('0'), at), text.size()) : at;
            at = std::min(number ? text.find_first_not_of(digits, at) : text.find_first_of(digits, at), text.size());
            return begin < at ? text.substr(begin, at - begin) : Text();
        };
        const Text one = take(left, l);
        const Text other = take(right, r);
        if (number && one.size() != other.size()) return one.size() < other.size();
        // In the order of the characters, whatever the machine's language.
        const auto folded = [](WCHAR c) { return c >= W('a') && c <= W('z') ? c - W('a') + W('A') : int{c}; };
        const auto order =
            std::lexicographical_compare_three_way(one.begin(), one.end(), other.begin(), other.end(),
                                                   [&](WCHAR a, WCHAR b) { return folded(a) <=> folded(b); });
        if (std::is_neq(order)) return std::is_lt(order);
    }
    return left.size() - l < right.size() - r;
}

PortIndex index_of(const std::vector<Port>& ports) {
    PortIndex index;
    for (const Port& port : ports) index.emplace(port.name, &port);
    return index;
}

bool is_pattern(const Text& text) {
    return text.find_first_of(W("*?")) != Text::npos;
}

bool matches(const Text& pattern, const Text& name) {
    size_t p = 0;
    size_t n = 0;
    size_t star = Text::npos;  // the last one, and how far it has been stretched
    size_t stretched = 0;
    while (n < name.size()) {
        const bool one = p < pattern.size() && pattern[p] != W('*') &&
                         (pattern[p] == W('?') || same_name(Text(1, pattern[p]), Text(1, name[n])));
        if (one) {
            ++p;
            ++n;
        } else if (p < pattern.size() && pattern[p] == W('*')) {
            star = p++;
            stretched = n;
        } else if (star != Text::npos) {
            p = star + 1;
            n = ++stretched;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of(W('*'), p) == Text::npos;
}

std::vector<Text> select_names(const std::vector<Text>& names, const std::vector<Text>& patterns,
                               std::vector<Text>& missing) {
    if (patterns.empty()) return names;
    const std::set<Text, NameOrder> known(names.begin(), names.end());
    std::set<Text, NameOrder> chosen;
    for (const Text& pattern : patterns) {
        const size_t before = chosen.size();
        bool found = known.count(pattern) != 0;
        if (found) {
            chosen.insert(pattern);
        } else if (is_pattern(pattern)) {
            for (const Text& name : names) {
                if (matches(pattern, name)) chosen.insert(name);
                found = found || matches(pattern, name);
            }
        }
        if (!found && chosen.size() == before) missing.push_back(pattern);
    }
    std::vector<Text> selected;
    std::copy_if(names.begin(), names.end(), std::back_inserter(selected),
                 [&](const Text& name) { return chosen.count(name) != 0; });
    return selected;
}

bool same_printer(const Port& left, const Port& right) {
    return left.address == right.address && left.number == right.number;
}

contract::PortConfig to_config(const Port& port) {
    return host::port_config(port.name, port.address, port.number);
}

Port from_config(const contract::PortConfig& config) {
    return {contract::FieldText(config.port_name).text, contract::FieldText(config.printer_address).text,
            config.port_number};
}

}  // namespace tsport
