// A connection beside the monitor's, straight over the platform's sockets: the layer has functions of the same names.
#pragma once

#include <cstdint>
#include <string>

namespace soak {

// Connects to this machine's port, sends the data and closes; false when that is not possible.
bool knock(std::uint16_t port, const std::string& data);

}  // namespace soak
