// tsport collect: a folder for those who are to find out what is wrong with a server.
#pragma once

#include "tsport/verb.h"

namespace tsport {

extern const char collect_help[];
command_line::Options collect_options(Command& command);
void collect(const Task& task);

}  // namespace tsport
