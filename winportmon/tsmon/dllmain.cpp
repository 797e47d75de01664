// What runs when the library is loaded into a process and when it is unloaded.
#include "common/config.h"
#include "common/log.h"
#include "winportmon/tsmon/tsmon.h"

namespace {

// Spin count as of Windows' documentation: the high bit asks for the lock's memory in advance.
constexpr DWORD kSpinCount = 0x80000000;
OptionalLock* const kLocks[] = {&tsmon::MonitorLock, &tsmon::ChangeLock, &tsmon::HandleLock};

void Attach(HINSTANCE instance) {
    OutputDebugStringA("TSM Attaching of DLL");
    tsmon::module_instance = instance;
    for (OptionalLock* lock : kLocks) lock->create(kSpinCount);
    DisableThreadLibraryCalls(instance);
}

void Detach() {
    OutputDebugStringA("TSM Detaching of DLL");
    for (OptionalLock* lock : kLocks) lock->destroy();
    OutputDebugStringA("TSM Closing log file");
    log_close();
    log_free_lock();
    config_free_lock();
}

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) Attach(instance);
    if (reason == DLL_PROCESS_DETACH) Detach();
    return TRUE;
}
