// What an administrator may type, and what is said when it is wrong.
#pragma once

#include "winportmon/tsmon/tsmon.h"
#include "winportmon/tsmonui/text.h"

namespace tsmonui {

constexpr size_t kAddressLimit = tsmon::kPrinterAddressSize - 1;  // characters
constexpr size_t kNameLimit = tsmon::kPortNameSize - 1;

// Each returns what is wrong and how to correct it; an empty text when the input is valid.
Text AddressProblem(const Text& address);
Text NameProblem(const Text& name);
Text PortProblem(const Text& port);

// The number of a port without a problem.
DWORD PortNumber(const Text& port);

// A name for the port of a printer with this address; empty for an empty address.
Text ProposedName(const Text& address);

}  // namespace tsmonui
