// What a host asks of the machine it runs on; each platform has its own body (linux/).
#pragma once

#include <string>

#include "tools/host/text.h"

namespace host {

// A path of this machine as Windows' functions take it.
Text windows_path(const std::string& native);
// The folder of the running program, without a separator at its end.
std::string executable_folder();
// The monitor's file name in this build.
const char* monitor_file_name();
bool stdout_is_terminal();
// Lets the library's calls of the spooler's functions lead to the simulation; null: this program's own. False, with the
// last error, when that is not possible.
bool use_simulated_spooler(HMODULE library);

}  // namespace host
