// A monitor that stands between Wine's spooler and the library, and makes up for what that spooler lacks: a record with
// registry functions that work and a key that stays open, the printer's name and the job's number for StartDocPort, and
// an ear for SetJobW. Everything else goes through untouched.
#include "tests/package/thin_monitor.h"

#include <algorithm>
#include <cstring>

#include "tests/package/import_table.h"
#include "tools/host/monitor_registry.h"
#include "tools/host/setup.h"

namespace thin_monitor {
namespace {

struct Instance {
    HMODULE library = nullptr;
    MONITORINIT init = {};
    const MONITOR2* monitor = nullptr;  // the library's
    MONITOR2 table = {};                // the spooler's
};
Instance instance;

template <typename Function>
Function* function_of(HMODULE module, const char* name) {
    return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

template <typename Function>
Function* function_of_program(const char* name) {
    return function_of<Function>(GetModuleHandleW(nullptr), name);
}

BOOL WINAPI start_document(HANDLE port, LPWSTR printer, DWORD id, DWORD level, BYTE* info) {
    auto* const announced = function_of_program<AnnouncedJob>("announced_job");
    const Job* const job = announced != nullptr ? announced() : nullptr;
    if (job == nullptr) return instance.monitor->pfnStartDocPort(port, printer, id, level, info);
    return instance.monitor->pfnStartDocPort(port, const_cast<LPWSTR>(job->printer), job->id, level, info);
}

BOOL WINAPI set_job(HANDLE printer, DWORD id, DWORD level, BYTE* record, DWORD command) {
    const BOOL answer = SetJobW(printer, id, level, record, command);
    const DWORD error = GetLastError();
    if (auto* const tell = function_of_program<JobWasSet>("job_was_set")) tell(id, level, command, answer);
    SetLastError(error);
    return answer;
}

// Lets the library's calls of SetJobW come by here.
bool listen_to_set_job() {
    return test::replace_import(instance.library, "SetJobW", reinterpret_cast<ULONG_PTR>(set_job)) != 0;
}

void unload() {
    if (instance.init.hckRegistryRoot != nullptr) RegCloseKey(static_cast<HKEY>(instance.init.hckRegistryRoot));
    if (instance.library != nullptr) FreeLibrary(instance.library);
    instance = Instance();
}

void WINAPI shut_down(HANDLE monitor) {
    instance.monitor->pfnShutdown(monitor);
    unload();
}

bool load(const MONITORINIT& given) {
    instance.init = given;
    instance.init.hSpooler = host::spooler_handle();
    instance.init.pMonitorReg = host::monitor_registry();
    instance.init.hckRegistryRoot = nullptr;
    instance.library = LoadLibraryW(L"tsprintportmon.dll");
    HKEY root = nullptr;
    if (instance.library == nullptr || !listen_to_set_job() ||
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, host::monitor_registry_path, 0, KEY_ALL_ACCESS, &root) != ERROR_SUCCESS) {
        return false;
    }
    instance.init.hckRegistryRoot = root;
    return true;
}

MONITOR2* start(MONITORINIT* given, HANDLE* monitor) {
    if (load(*given)) {
        using Initialize = MONITOR2* WINAPI(MONITORINIT*, HANDLE*);
        auto* const initialize = function_of<Initialize>(instance.library, "InitializePrintMonitor2");
        if (initialize != nullptr) instance.monitor = initialize(&instance.init, monitor);
    }
    if (instance.monitor == nullptr) {
        unload();
        return nullptr;
    }
    std::memcpy(&instance.table, instance.monitor, std::min<size_t>(instance.monitor->cbSize, sizeof instance.table));
    instance.table.pfnStartDocPort = start_document;
    instance.table.pfnShutdown = shut_down;
    return &instance.table;
}

}  // namespace
}  // namespace thin_monitor

extern "C" MONITOR2* WINAPI InitializePrintMonitor2(MONITORINIT* init, HANDLE* monitor) {
    return thin_monitor::start(init, monitor);
}

// The import library of SPOOLSS.DLL defines one too, which would be used otherwise.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) {
    return TRUE;
}
