// How a stand-in's function ends.
#pragma once

#include "winapi/winapi.h"

namespace spooler_sim {

inline BOOL finish(DWORD error) {
    if (error == ERROR_SUCCESS) return TRUE;
    SetLastError(error);
    return FALSE;
}

}  // namespace spooler_sim
