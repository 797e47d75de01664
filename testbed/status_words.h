// Statuses of jobs and printers, and commands given to jobs, as the spooler's windows show them.
#pragma once

#include <string>

#include "host/text.h"

namespace testbed {

// "printing, error"; "no status" for 0. A bit without a word is shown as its number.
std::string job_status_to_text(DWORD status);
// "door open"; "ready" for 0.
std::string printer_status_to_text(DWORD status);
// "sent to printer"
std::string job_command_to_text(DWORD command);

}  // namespace testbed
