#include "winportmon/tsmonui/rules.h"

#include "winportmon/tsmonui/resource.h"

namespace tsmonui {

using contract::Fault;

namespace {

// What a fault is called in an address and in a name; 0 where it is no fault or has a text of its own.
constexpr struct {
    Fault fault;
    UINT address;
    UINT name;
} texts[] = {
    {Fault::empty, 0, IDS_NAME_EMPTY},
    {Fault::too_long, IDS_ADDRESS_LIMIT, IDS_NAME_LIMIT},
    {Fault::backslash, 0, IDS_NAME_BACKSLASH},
    {Fault::blank, IDS_ADDRESS_BLANK, IDS_NAME_INVISIBLE},
    {Fault::invisible, IDS_ADDRESS_INVISIBLE, IDS_NAME_INVISIBLE},
    {Fault::comma, 0, IDS_NAME_COMMA},
    {Fault::windows_port, 0, IDS_NAME_WINDOWS},
    {Fault::session_port, 0, IDS_NAME_SESSION},
    {Fault::numeric, IDS_ADDRESS_NUMERIC, 0},
};

}  // namespace

Text AddressProblem(const Text& address) {
    const Fault fault = contract::AddressFault(address);
    if (fault == Fault::none) return Text();
    for (const auto& text : texts) {
        if (text.fault == fault && text.address != 0) return TableText(text.address);
    }
    const contract::AddressParts parts = contract::PartsOf(address);
    const Text only(parts.address);
    if (only.empty()) return TableText(IDS_ADDRESS_EMPTY);
    if (parts.port_number.empty()) return TableText(IDS_ADDRESS_ONLY, only);
    return TableText(IDS_ADDRESS_WITH_PORT, only, Text(parts.port_number));
}

Text NameProblem(const Text& name) {
    const Fault fault = contract::NameFault(name);
    for (const auto& text : texts) {
        if (text.fault == fault && text.name != 0) return TableText(text.name);
    }
    return Text();
}

Text PortProblem(const Text& port) {
    return contract::ParsePortNumber(port) != 0 ? Text() : TableText(IDS_PORT_RANGE);
}

Text ProposedName(const Text& address) {
    Text name;
    for (const WCHAR character : contract::TextView(address)) {
        if (character != W(',') && character != W('\\') && name.length() < kNameLimit) name.Add(character);
    }
    return name;
}

}  // namespace tsmonui
