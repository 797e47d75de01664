// The command line.
#pragma once

#include <string>
#include <vector>

#include "tools/tsport/port.h"

namespace tsport {

enum class Verb { list, show, add, set, remove, test, exists, export_ports, import_ports, diff };

struct Command {
    Verb verb = Verb::list;
    Port port;  // what was given of it
    bool number_given = false;
    std::string file;
    bool json = false;
    bool dry_run = false;
    std::string library;
    std::string store;
    std::string help;  // the text asked for; nothing else is to be done then
};

// False with the reason when the line cannot be understood or a port cannot have what it names.
bool parse_arguments(const std::vector<std::string>& arguments, Command& command, std::string& why);

}  // namespace tsport
