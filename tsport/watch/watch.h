// tsport watch: what the ports do now.
#pragma once

#include "tsport/verb.h"

namespace tsport {

extern const char watch_help[];
command_line::Options watch_options(Command& command);
void watch_log(const Task& task);

}  // namespace tsport
