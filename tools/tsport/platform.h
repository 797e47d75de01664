// What the tool asks of the machine it runs on; each platform has its own body.
#pragma once

#include <string>
#include <vector>

#include "winapi/winapi.h"

namespace tsport {

// The program's arguments as UTF-8.
std::vector<std::string> program_arguments(int count, char** arguments);

// The console shows UTF-8 until the scope ends.
class Utf8Console {
  public:
    Utf8Console();
    ~Utf8Console();
    Utf8Console(const Utf8Console&) = delete;
    Utf8Console& operator=(const Utf8Console&) = delete;

  private:
    unsigned before_;
};

// The part of the registry in which a hosted monitor's ports lie while it runs.
HKEY private_hive();

}  // namespace tsport
