// The program without its environment.
#pragma once

#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "tsport/json.h"

namespace tsport {

enum Status {
    done = 0,
    not_there = 1,  // the port, or the printer; for diff: a difference
    bad_usage = 2,
    refused = 3,
};

struct Answer {
    int status = done;
    std::string out;  // for standard output ...
    std::string err;  // ... and standard error
};

// The environment of the program.
struct Console {
    std::istream& input;            // read for the file "-"
    std::FILE* progress = nullptr;  // a terminal; null: progress is not shown
    // Gets what may be too long for an answer, piece by piece.
    Sink output = [](std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); };
    size_t width = 0;  // of the terminal that the output goes to, in characters; 0: it goes elsewhere
};

// Runs the tool with these arguments, without the program's name.
Answer run(const std::vector<std::string>& arguments, const Console& console = {std::cin});

}  // namespace tsport
