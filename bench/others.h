// What the monitor is measured against: the least that sends a document, and the programs that people use today.
#pragma once

#include <netinet/in.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace bench {

// The printer of that number: all share one TCP port and alternate between addresses, so that no pair of addresses
// runs out of local ports within a case.
constexpr unsigned kPrinters = 64;
std::string printer_address(unsigned number);

// connect, send, shutdown, wait for the other side, close.
int connect_to(unsigned number, std::uint16_t port);
void send_all(int socket, const char* data, size_t size);
void end_connection(int socket);
void send_plainly(unsigned number, std::uint16_t port, const std::vector<char>& data, std::uint64_t size,
                  size_t write_size);

// A process with nothing at its standard streams; the caller waits for it.
pid_t start_quietly(const std::vector<std::string>& arguments);

// CUPS' program for raw ports: one process per document, as its scheduler starts it.
bool has_cups_backend();
void send_by_cups(std::uint16_t port, const std::string& file);

// Writes a file, has `cat` write it into a pipe, and sends what comes out of it.
void send_through_cat(std::uint16_t port, const std::string& file, const std::vector<char>& data, std::uint64_t size);

}  // namespace bench
