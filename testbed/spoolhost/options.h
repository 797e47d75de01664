// The command line of spoolhost.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/command_line/options.h"
#include "host/text.h"

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
    command_line::Words files;
};

// Its options fill `options`, which has to outlive it; the operands are the files.
command_line::Program program_of(Options& options);

}  // namespace spoolhost
