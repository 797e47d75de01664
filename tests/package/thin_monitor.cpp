// A monitor that stands between Wine's spooler and the library, and makes up for what that spooler lacks: a record with
// registry functions that work and a key that stays open, the printer's name and the job's number for StartDocPort, and
// an ear for SetJobW. Everything else goes through untouched.
#include "host/monitor_registry.h"
#include "host/setup.h"
#include "tests/package/wine_spooler.h"
#include "winapi/spooler_sim/windows/imports.h"
#include "winportmon/contract/names.h"

namespace thin_monitor {
namespace {

HMODULE library = nullptr;
MONITORINIT init = {};
const MONITOR2* monitor = nullptr;  // the library's
MONITOR2 table = {};                // the spooler's

template <typename Function>
Function* function_of(HMODULE module, const char* name) {
    return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

BOOL WINAPI start_document(HANDLE port, LPWSTR printer, DWORD id, DWORD level, BYTE* info) {
    auto* const announced = function_of<AnnouncedJob>(GetModuleHandleW(nullptr), "announced_job");
    const Job* const job = announced != nullptr ? announced() : nullptr;
    if (job == nullptr) return monitor->pfnStartDocPort(port, printer, id, level, info);
    return monitor->pfnStartDocPort(port, const_cast<LPWSTR>(job->printer), job->id, level, info);
}

BOOL WINAPI set_job(HANDLE printer, DWORD id, DWORD level, BYTE* record, DWORD command) {
    const BOOL answer = SetJobW(printer, id, level, record, command);
    const DWORD error = GetLastError();
    if (auto* const tell = function_of<JobWasSet>(GetModuleHandleW(nullptr), "job_was_set")) {
        tell(id, level, command, answer);
    }
    SetLastError(error);
    return answer;
}

void WINAPI shut_down(HANDLE instance) {
    monitor->pfnShutdown(instance);
    RegCloseKey(static_cast<HKEY>(init.hckRegistryRoot));
    FreeLibrary(library);
}

}  // namespace
}  // namespace thin_monitor

extern "C" MONITOR2* WINAPI InitializePrintMonitor2(MONITORINIT* given, HANDLE* instance) {
    using namespace thin_monitor;
    using Initialize = MONITOR2* WINAPI(MONITORINIT*, HANDLE*);
    HKEY root = nullptr;
    library = LoadLibraryW(L"tsprintportmon.dll");
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, contract::kMonitorKey, 0, KEY_ALL_ACCESS, &root);
    auto* const initialize = function_of<Initialize>(library, "InitializePrintMonitor2");
    if (initialize == nullptr) return nullptr;
    spooler_sim::replace_import(library, "SetJobW", reinterpret_cast<spooler_sim::Function>(set_job));
    init = *given;
    init.hSpooler = host::spooler_handle();
    init.pMonitorReg = host::monitor_registry();
    init.hckRegistryRoot = root;
    monitor = initialize(&init, instance);
    if (monitor == nullptr) return nullptr;
    table = *monitor;
    table.pfnStartDocPort = start_document;
    table.pfnShutdown = shut_down;
    return &table;
}

// The import library of SPOOLSS.DLL defines one too, which would be used otherwise.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) {
    return TRUE;
}
