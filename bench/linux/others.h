// What people use today for what the monitor does.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

// A process with nothing at its standard streams; the caller waits for it.
pid_t start_quietly(const std::vector<std::string>& arguments);
pid_t start_into(const std::vector<std::string>& arguments, int output);

// CUPS' program for raw ports: one process per document, as its scheduler starts it.
bool has_cups_backend();
void send_by_cups(std::uint16_t port, const std::string& file);

}  // namespace bench
