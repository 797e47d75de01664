// Queues of this machine and the ports that they print to.
#pragma once

#include <string>

#include "tsport/spooler.h"

namespace tsport::migrate {

// Gives a queue that prints to the port `from` the port `to`, all else as it was, and reads it back; a queue with jobs
// waiting is only changed when `with_jobs` is set. Empty when that is done. Otherwise the reason, and the queue prints
// to `from` again unless the reason says more.
std::string give_port(const Text& queue, const Text& from, const Text& to, bool with_jobs);

// What is said of a Win32 code; empty for ERROR_SUCCESS.
std::string refused_to(const std::string& deed, DWORD code);

// The port that a queue prints to now; the Win32 code.
DWORD read_port_of(const Text& queue, Text& port);

// To this port alone or among others.
bool prints_to(const Queue& queue, const Text& port);

std::string waiting_to_text(DWORD jobs);

}  // namespace tsport::migrate
