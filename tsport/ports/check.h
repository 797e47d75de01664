// The check of printers: whether they take connections from this machine.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "tsport/ports/port.h"
#include "winportmon/contract/printer.h"

namespace tsport {

// All of them at once, with one limit each from the end of its look-up on. `progress`, which may be empty, gets how
// many are done.
std::vector<contract::PrinterCheck> check_printers(const std::vector<Port>& ports, std::chrono::milliseconds limit,
                                                   const std::function<void(size_t)>& progress = {});
// What is said of the printer: "accepts connections".
std::string to_text(const contract::PrinterCheck& check);
const char* id_of(contract::Verdict verdict);  // for scripts

// Calls for 0 to count - 1, so many of them at once, each on one of several threads.
void for_each_at_once(size_t count, const std::function<void(size_t)>& call, size_t at_once = 64);

}  // namespace tsport
