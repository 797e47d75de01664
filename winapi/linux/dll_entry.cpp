// Compiled into each library built here: runs its DllMain at load and unload, as Windows' loader does.
#include "winapi/linux/dll_entry.h"

#include "winapi/linux/module.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved);

namespace {

char module_anchor;  // its address is the instance handle

HINSTANCE instance() {
    return reinterpret_cast<HINSTANCE>(&module_anchor);
}

__attribute__((constructor)) void attach() {
    winapi::register_module(instance(), winapi::string_resources);
    DllMain(instance(), DLL_PROCESS_ATTACH, nullptr);
}

__attribute__((destructor)) void detach() {
    DllMain(instance(), DLL_PROCESS_DETACH, nullptr);
    winapi::unregister_module(instance());
}

}  // namespace
