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

// Makes the string table of a library known by its instance handle, which is returned: of the library that an address
// is in. The other removes it.
HINSTANCE register_module(const void* address, const StringResource* strings);
void unregister_module(HINSTANCE instance);

}  // namespace winapi
