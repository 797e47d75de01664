// Ports in a text file, one a line:
//
//   # name          address        port
//   "Office 1"      192.168.1.20   9100
//   "Caf\u00e9"     printer.local  9101
//
// A text in quotes may hold anything, with \" \\ \t \n \r and \uXXXX; without quotes it ends at a blank. What follows a
// "#" outside of quotes is a comment.
#pragma once

#include <string>
#include <vector>

#include "tools/tsport/port.h"

namespace tsport {

// False with a line "FILE:LINE: reason" for each line that is wrong, or the reason why the file cannot be read. A port
// that is named twice is wrong too. `ports` is filled only when everything is right.
bool read_ports_file(const std::string& path, std::vector<Port>& ports, std::string& why);
// The file is replaced only by a whole one.
bool write_ports_file(const std::string& path, const std::vector<Port>& ports, std::string& why);

}  // namespace tsport
