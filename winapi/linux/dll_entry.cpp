// Compiled into each library built here: runs its DllMain at load and unload, as Windows' loader does.
#include "winapi/linux/dll_entry.h"

#include "winapi/linux/module.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved);

namespace {

HINSTANCE instance = nullptr;

__attribute__((constructor)) void attach() {
    instance = winapi::register_module(&instance, winapi::string_resources);
    DllMain(instance, DLL_PROCESS_ATTACH, nullptr);
}

__attribute__((destructor)) void detach() {
    DllMain(instance, DLL_PROCESS_DETACH, nullptr);
    winapi::unregister_module(instance);
}

}  // namespace
