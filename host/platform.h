// System functions of the programs; implemented once per platform.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "host/text.h"

namespace host {

// A path of this machine in the form that Windows' functions take.
Text windows_path(const std::string& native);
// The folder of the running program, without a separator at its end.
std::string executable_folder();
// The monitor's file name in this build.
const char* monitor_file_name();

// The program's arguments without its own name, as UTF-8.
std::vector<std::string> program_arguments(int count, char** arguments);
bool is_terminal(std::FILE* stream);
// In characters; 0 when it is not a terminal.
size_t terminal_width(std::FILE* stream);

// Standard input comes as it is, and the console shows UTF-8 until the scope ends.
class Utf8Console {
  public:
    Utf8Console();
    ~Utf8Console();
    Utf8Console(const Utf8Console&) = delete;
    Utf8Console& operator=(const Utf8Console&) = delete;

  private:
    [[maybe_unused]] unsigned before_;  // the console's code page, on Windows
};

// Removes what the registry holds for the monitor and its print server.
void clear_registry();

// Redirects a library's calls of the spooler's functions to the simulation; null: this program's own calls. False, with
// the last error, on failure.
bool use_simulated_spooler(HMODULE library);

}  // namespace host
