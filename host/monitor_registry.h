// The registry callbacks that a spooler hands to its monitors.
#pragma once

#include "winapi/winapi.h"

namespace host {

// Every callback works on the registry itself, so that its keys can be closed with RegCloseKey, and refuses
// (6) a call that does not pass on `spooler_handle()`. Those that no monitor here needs answer
// ERROR_CALL_NOT_IMPLEMENTED.
MONITORREG* monitor_registry();
HANDLE spooler_handle();

}  // namespace host
