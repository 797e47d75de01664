// The command line of spoolhost.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/host/text.h"

namespace spoolhost {

struct Printer {
    std::string host;
    DWORD port = 0;
};

struct Options {
    std::string library;
    std::vector<Printer> printers;
    std::uint64_t ports = 1;
    std::uint64_t write_size = 65536;
    std::uint64_t jobs = 1;
    std::uint64_t restarts = 3;
    std::vector<std::string> conf;
    std::string base;
    bool not_approved = false;
    bool show_log = false;
    bool help = false;
    std::vector<std::string> files;
};

extern const char usage[];

// False with the reason when the line cannot be understood.
bool parse_options(int count, char** arguments, Options& options, std::string& why);

}  // namespace spoolhost
