// tsport doctor: looks at everything that has to be right before a page comes out.
#pragma once

#include "tools/tsport/run.h"
#include "tools/tsport/verb.h"

namespace tsport {

extern const char doctor_help[];

namespace doctor {

Answer run(const command_line::Words& arguments);

}  // namespace doctor
}  // namespace tsport
