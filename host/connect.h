// Whether a printer accepts a connection; does not wait for anything further.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace host {

enum class Verdict {
    accepted,
    refused,       // the connection was refused
    no_answer,     // within the time, or no way leads there
    unknown_name,  // the name does not resolve
};

// Looks the name up (UTF-8; a numeric address needs no look-up), connects to all its addresses at once and closes the
// connections again. The time limit does not bound the look-up, which takes as long as the system's resolver does.
Verdict try_connection(const std::string& host, std::uint16_t port, std::chrono::milliseconds limit);

}  // namespace host
