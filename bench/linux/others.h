// What people use today for what the monitor does.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

using Words = std::vector<std::string>;

// A process whose standard output goes to `output`, or is discarded without one, like its errors; it gets no input. The
// caller waits for it.
pid_t start(Words arguments, int output = -1, Words environment = {"LANG=C", "PATH=/usr/bin:/bin"});

// A figure of /proc/self/status.
double status_kib(const std::string& name);

// CUPS' program for raw ports: one process per document, as its scheduler starts it.
bool has_cups_backend();
void send_by_cups(std::uint16_t port, const std::string& file);

}  // namespace bench
