// tsport doctor: checks everything that printing depends on.
#pragma once

#include "tsport/verb.h"

namespace tsport {

extern const char doctor_help[];

namespace doctor {

command_line::Options options(Command& command);
void examine(const Task& task);

}  // namespace doctor
}  // namespace tsport
