// tsport doctor: checks everything that printing depends on.
#pragma once

#include "tsport/run.h"
#include "tsport/verb.h"

namespace tsport {

extern const char doctor_help[];

namespace doctor {

Answer run(const command_line::Words& arguments);

}  // namespace doctor
}  // namespace tsport
