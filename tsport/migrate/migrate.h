// tsport migrate: queues move from Standard TCP/IP ports to ports of this monitor, and back.
#pragma once

#include "host/command_line/options.h"

namespace tsport {
struct Command;
struct Task;
}  // namespace tsport

namespace tsport::migrate {

command_line::Options options(Command& command);
void migrate(const Task& task);

}  // namespace tsport::migrate
