// The check of printers: whether they take connections from this machine.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "tsport/ports/port.h"
#include "winportmon/contract/printer.h"

namespace tsport {

contract::PrinterCheck check_printer(const Port& port, std::chrono::milliseconds limit);
// What is said of the printer: "accepts connections".
std::string to_text(const contract::PrinterCheck& check);
const char* id_of(contract::Verdict verdict);  // for scripts

// Calls for 0 to count - 1, so many of them at once, each on one of several threads.
void for_each_at_once(size_t count, const std::function<void(size_t)>& call, size_t at_once = 64);

}  // namespace tsport
