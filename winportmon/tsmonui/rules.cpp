#include "winportmon/tsmonui/rules.h"

#include "winportmon/tsmonui/resource.h"

namespace tsmonui {

using contract::Fault;

Text AddressProblem(const Text& address) {
    const contract::AddressParts parts = contract::PartsOf(address);
    const Text only(parts.address);
    switch (contract::AddressFault(address)) {
        case Fault::none:
            return Text();
        case Fault::too_long:
            return TableText(IDS_ADDRESS_LIMIT);
        case Fault::blank:
            return TableText(IDS_ADDRESS_BLANK);
        case Fault::invisible:
            return TableText(IDS_ADDRESS_INVISIBLE);
        case Fault::numeric:
            return TableText(IDS_ADDRESS_NUMERIC);
        default:
            break;
    }
    if (only.empty()) return TableText(IDS_ADDRESS_EMPTY);
    if (parts.port_number.empty()) return TableText(IDS_ADDRESS_ONLY, only);
    return TableText(IDS_ADDRESS_WITH_PORT, only, Text(parts.port_number));
}

Text NameProblem(const Text& name) {
    switch (contract::NameFault(name)) {
        case Fault::none:
            return Text();
        case Fault::too_long:
            return TableText(IDS_NAME_LIMIT);
        case Fault::backslash:
            return TableText(IDS_NAME_BACKSLASH);
        case Fault::blank:
        case Fault::invisible:
            return TableText(IDS_NAME_INVISIBLE);
        case Fault::comma:
            return TableText(IDS_NAME_COMMA);
        case Fault::windows_port:
            return TableText(IDS_NAME_WINDOWS);
        case Fault::session_port:
            return TableText(IDS_NAME_SESSION);
        default:
            return TableText(IDS_NAME_EMPTY);
    }
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
