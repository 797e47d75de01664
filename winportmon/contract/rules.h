// What an administrator may give a port: its name, the printer's address and the TCP port. The monitor takes any; the
// tools and the dialogs, which ask here, do not create what would not print or could not be found again. A fault is a
// value: whoever shows it has the words.
#pragma once

#include <string_view>

#include "winportmon/contract/port_config.h"

namespace contract {

using TextView = std::basic_string_view<WCHAR>;

enum class Fault {
    none,
    // No port has it: neither the record nor the registry can hold it.
    empty,
    too_long,
    backslash,  // in a name
    // A port may have it, from before or made by others. It is shown, tested, changed and deleted as any other; only a
    // new name or address may not be like that.
    blank,             // in an address; at an end of a name
    invisible,         // invisible characters, such as turn the direction of writing, and in a name unusual blanks
    comma,             // Windows separates a printer's ports by commas
    windows_port,      // a name such as LPT1: or FILE:, under which Windows has a port of its own
    session_port,      // TS and a digit: Windows deletes the queues of such ports when it starts
    scheme,            // http:// and the like before the address
    slash,             // either one in an address
    brackets,          // of any kind
    with_port_number,  // address:9100
    numeric,           // digits and dots that are no IPv4 address of four plain numbers, such as 999.1.1.1 or 10.1
};

// The first fault in the order of the list.
Fault NameFault(TextView name);
Fault AddressFault(TextView address);
// Whether no port can have it, not even an existing one.
constexpr bool IsImpossible(Fault fault) {
    return fault == Fault::empty || fault == Fault::too_long || fault == Fault::backslash;
}

// 1 to 65535; 0 for any text that is not such a number.
uint32_t ParsePortNumber(TextView digits);

// What an address that came with more than itself should have been: without its scheme, slashes, brackets and path, and
// its port number, if it had one. Parts of the same text.
struct AddressParts {
    TextView address;
    TextView port_number;
};
AddressParts PartsOf(TextView address);

// Any kind that Unicode knows.
bool IsBlank(WCHAR character);
bool IsInvisible(WCHAR character);

}  // namespace contract
