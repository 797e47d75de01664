// Ports as comma-separated values, for spreadsheets.
#pragma once

#include "tsport/ports/ports_file.h"

namespace tsport {

// The first line names the columns, in any order; columns other than name, address and port are ignored.
void parse_csv(const Text& text, PortsFile& file, std::vector<Fault>& faults);
Text format_csv(const std::vector<Entry>& entries, WCHAR separator);

}  // namespace tsport
