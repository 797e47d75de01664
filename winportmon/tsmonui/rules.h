// What is said of what an administrator may not type.
#pragma once

#include "winportmon/tsmonui/text.h"

namespace tsmonui {

constexpr size_t kAddressLimit = contract::kPrinterAddressSize - 1;  // characters
constexpr size_t kNameLimit = contract::kPortNameSize - 1;

// Each returns what is wrong and how to correct it; an empty text when the input is valid.
Text AddressProblem(const Text& address);
Text NameProblem(const Text& name);
Text PortProblem(const Text& port);

// A name for the port of a printer with this address; empty for an empty address.
Text ProposedName(const Text& address);

}  // namespace tsmonui
