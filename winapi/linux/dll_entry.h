// The string table of a library built here, in place of a resource section (see dll_entry.cpp).
#pragma once

#include "winapi/linux/types.h"

namespace winapi {

struct StringResource {
    UINT id;
    const WCHAR* text;
};
// Ends with a null text; generated from the library's resource script (cmake/StringTable.cmake).
extern const StringResource string_resources[];

// Registers a loaded library's string table under its instance handle, and removes it.
void register_module(HINSTANCE instance, const StringResource* strings);
void unregister_module(HINSTANCE instance);

}  // namespace winapi
