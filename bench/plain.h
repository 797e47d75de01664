// The least that brings a document to a printer: what the monitor is measured against. It makes the same calls of
// Windows as the monitor, which are the layer's in the build for Linux.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/text.h"

namespace bench {

// The printer of that number: all share one TCP port and alternate between addresses, so that no pair of addresses
// runs out of local ports within a case.
constexpr unsigned kPrinters = 64;
std::string printer_address(unsigned number);

// All of these throw Failed when the system says no.
SOCKET connect_to(const host::Text& address, const host::Text& service);
void send_all(SOCKET socket, const char* data, size_t size);
// shutdown, wait for the other side's close, close.
void end_connection(SOCKET socket);

// connect, send over and over in pieces of `write_size`, end.
void send_plainly(unsigned number, std::uint16_t port, const std::vector<char>& data, std::uint64_t size,
                  size_t write_size);

}  // namespace bench
