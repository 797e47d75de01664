// From the command line to a command.
#pragma once

#include "tsport/verb.h"

namespace tsport {

struct Arguments {
    Command command;
    std::string text;  // to be printed, and nothing else done: a help or the version
};

// False with the reason when the line cannot be understood or a port cannot have what it names; `command.json` is right
// even then.
bool parse_arguments(const command_line::Words& words, Arguments& arguments, std::string& why);

}  // namespace tsport
