#include "tsport/ports/port.h"

#include <algorithm>
#include <set>

#include "tsport/output.h"

namespace tsport {
namespace {

std::string too_long(const char* what, size_t length, size_t most) {
    return std::string(what) + " has " + std::to_string(length) + " characters, the limit is " + std::to_string(most);
}

bool is_blank(WCHAR c) {
    return c <= W(' ') || c == 0x7F || c == 0xA0 || c == 0x3000;
}

// What an address that came with more than itself should have been: its scheme, brackets, path and port number taken
// off, the number as a word of its own.
std::string instead(Text address) {
    const size_t scheme = address.find(W("://"));
    if (scheme != Text::npos) address.erase(0, scheme + 3);
    address.erase(0, address.find_first_not_of(W("\\/")));
    address.resize(std::min(address.size(), address.find_first_of(W("/\\"))));
    Text number;
    const size_t bracket = address.find(W(']'));
    const size_t colon = bracket != Text::npos ? address.find(W(':'), bracket) : address.rfind(W(':'));
    const bool has_number = colon != Text::npos && (bracket != Text::npos || address.find(W(':')) == colon);
    if (has_number) {
        number = address.substr(colon + 1);
        address.resize(colon);
    }
    std::erase(address, W('['));
    std::erase(address, W(']'));
    std::string words = shown(address);
    if (!number.empty()) words += " " + shown(number);
    return words.empty() ? "" : "; type " + words;
}

}  // namespace

std::string name_fault(const Text& name) {
    constexpr size_t most = tsmon::kPortNameSize - 1;
    if (name.empty()) return "the port's name is empty";
    if (name.size() > most) return too_long("the port's name", name.size(), most);
    if (name.find(W('\\')) != Text::npos) return "a port's name cannot have a backslash in it";
    return std::string();
}

std::string new_name_fault(const Text& name) {
    if (name.find(W(',')) == Text::npos) return std::string();
    return "a port's name cannot have a comma in it: Windows separates the ports of a printer by commas";
}

std::string address_fault(const Text& address) {
    constexpr size_t most = tsmon::kPrinterAddressSize - 1;
    if (address.empty()) return "the printer's address is empty";
    if (address.size() > most) return too_long("the printer's address", address.size(), most);
    return std::string();
}

std::string new_address_fault(const Text& address) {
    if (std::any_of(address.begin(), address.end(), is_blank)) return "an address has no blanks in it";
    if (address.find(W("://")) != Text::npos) return "an address has no scheme before it" + instead(address);
    if (address.find_first_of(W("/\\")) != Text::npos) {
        return "an address has no slashes in it" + instead(address);
    }
    if (address.find_first_of(W("[]")) != Text::npos) return "an address has no brackets around it" + instead(address);
    if (std::count(address.begin(), address.end(), W(':')) == 1) {
        return "the TCP port is a word of its own behind the address" + instead(address);
    }
    return std::string();
}

bool same_name(const Text& left, const Text& right) {
    return lstrcmpiW(left.c_str(), right.c_str()) == 0;
}

bool NameOrder::operator()(const Text& left, const Text& right) const {
    return lstrcmpiW(left.c_str(), right.c_str()) < 0;
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
