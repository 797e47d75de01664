// The least that brings a document to a printer: what the monitor is measured against.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "testbed/test_printer/net.h"

namespace bench {

using test_printer::net::Socket;

// The printer of that number: all share one TCP port and alternate between addresses, so that no pair of addresses
// runs out of local ports within a case.
constexpr unsigned kPrinters = 64;
std::string printer_address(unsigned number);

// All of these throw Failed when the system says no.
Socket connect_to(unsigned number, std::uint16_t port);
void send_all(Socket socket, const char* data, size_t size);
void receive_all(Socket socket, void* data, size_t size);
// shutdown, wait for the other side, close.
void end_connection(Socket socket);

// connect, send over and over in pieces of `write_size`, end.
void send_plainly(unsigned number, std::uint16_t port, const std::vector<char>& data, std::uint64_t size,
                  size_t write_size);

}  // namespace bench
