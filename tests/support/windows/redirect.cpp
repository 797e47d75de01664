// What of the monitor is linked into a test program meets the simulated spooler, as the library itself does.
#include "winapi/spooler_sim/windows/redirect.h"

namespace {

[[maybe_unused]] const bool redirected = spooler_sim::redirect_calls_of(GetModuleHandleW(nullptr));

}  // namespace
