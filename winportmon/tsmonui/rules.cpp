#include "winportmon/tsmonui/rules.h"

#include "winportmon/tsmonui/resource.h"

namespace tsmonui {
namespace {

constexpr size_t kNowhere = static_cast<size_t>(-1);
constexpr DWORD kLargestPort = 65535;

// Where the first of these characters stands.
size_t FindAny(const Text& text, const WCHAR* characters, size_t from = 0) {
    for (size_t i = from; i < text.length(); ++i) {
        for (const WCHAR* wanted = characters; *wanted != 0; ++wanted) {
            if (text[i] == *wanted) return i;
        }
    }
    return kNowhere;
}

bool IsDigit(WCHAR character) {
    return character >= W('0') && character <= W('9');
}

// The colon of "name:9100". An IPv6 address has more than one.
size_t PortSeparator(const Text& address) {
    const size_t colon = FindAny(address, W(":"));
    return colon != kNowhere && FindAny(address, W(":"), colon + 1) == kNowhere ? colon : kNowhere;
}

}  // namespace

Text AddressProblem(const Text& address) {
    if (address.empty()) return TableText(IDS_ADDRESS_EMPTY);
    if (address.length() > kAddressLimit) return TableText(IDS_ADDRESS_LIMIT);
    if (FindAny(address, W(" \t\x00A0")) != kNowhere) return TableText(IDS_ADDRESS_BLANK);
    const size_t colon = FindAny(address, W(":"));
    if (colon != kNowhere && address[colon + 1] == W('/') && address[colon + 2] == W('/')) {
        return TableText(IDS_ADDRESS_SCHEME, Text().Add(address.c_str(), colon + 3));
    }
    if (FindAny(address, W("[](){}<>")) != kNowhere) return TableText(IDS_ADDRESS_BRACKETS);
    const size_t separator = PortSeparator(address);
    if (separator != kNowhere) {
        return TableText(IDS_ADDRESS_WITH_PORT, Text().Add(address.c_str(), separator),
                         Text(address.c_str() + separator + 1));
    }
    return Text();
}

Text NameProblem(const Text& name) {
    if (name.empty()) return TableText(IDS_NAME_EMPTY);
    if (name.length() > kNameLimit) return TableText(IDS_NAME_LIMIT);
    if (FindAny(name, W("\\")) != kNowhere) return TableText(IDS_NAME_BACKSLASH);
    if (FindAny(name, W(",")) != kNowhere) return TableText(IDS_NAME_COMMA);
    return Text();
}

Text PortProblem(const Text& port) {
    const DWORD number = PortNumber(port);
    return number >= 1 && number <= kLargestPort ? Text() : TableText(IDS_PORT_RANGE);
}

DWORD PortNumber(const Text& port) {
    DWORD number = 0;
    for (size_t i = 0; i < port.length(); ++i) {
        if (!IsDigit(port[i])) return 0;
        number = number * 10 + static_cast<DWORD>(port[i] - W('0'));
        if (number > kLargestPort) return 0;
    }
    return number;
}

Text ProposedName(const Text& address) {
    Text name;
    for (size_t i = 0; i < address.length() && name.length() < kNameLimit; ++i) {
        if (address[i] != W(',') && address[i] != W('\\')) name.Add(address[i]);
    }
    return name;
}

}  // namespace tsmonui
