// The import table of a loaded module.
#pragma once

#include <functional>

#include "winapi/winapi.h"

namespace spooler_sim {

using Function = void (*)();

// Hands over each function that the module imports by name: its library, its name, and where its address stands. Ends
// when `visit` returns false, and returns that then.
bool visit_imports(HMODULE module,
                   const std::function<bool(const char* library, const char* name, Function& slot)>& visit);

// Writes another address there; false, with the last error, when the table cannot be changed.
bool set_import(Function& slot, Function function);

// Puts `function` in the place of the import of that name. Returns the former one; null when the module does not import
// it or its table cannot be changed.
Function replace_import(HMODULE module, const char* name, Function function);

}  // namespace spooler_sim
