// The import table of a loaded library.
#pragma once

#include "winapi/winapi.h"

namespace test {

// Puts `function` in the place of one that the library imports by name. Returns the former one; 0 when the library does
// not import it or its table cannot be changed.
ULONG_PTR replace_import(HMODULE library, const char* name, ULONG_PTR function);

}  // namespace test
