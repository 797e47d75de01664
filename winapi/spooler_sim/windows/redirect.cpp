#include "winapi/spooler_sim/windows/redirect.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "winapi/spooler_sim/functions.h"
#include "winapi/spooler_sim/windows/imports.h"

namespace spooler_sim {
namespace {

// -- What the calls lead to ------------------------------------------------------------------------------------------

BOOL finish(DWORD error) {
    if (error == ERROR_SUCCESS) return TRUE;
    SetLastError(error);
    return FALSE;
}

BOOL WINAPI sim_OpenPrinterW(LPWSTR name, LPHANDLE printer, LPPRINTER_DEFAULTSW defaults) {
    return finish(open_printer(name, printer, defaults != nullptr ? defaults->DesiredAccess : 0));
}
BOOL WINAPI sim_ClosePrinter(HANDLE printer) {
    return finish(close_printer(printer));
}
BOOL WINAPI sim_GetJobW(HANDLE printer, DWORD job_id, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed) {
    return finish(get_job(printer, job_id, level, buffer, size, needed));
}
BOOL WINAPI sim_SetJobW(HANDLE printer, DWORD job_id, DWORD level, LPBYTE job, DWORD command) {
    return finish(set_job(printer, job_id, level, job, command));
}
BOOL WINAPI sim_GetPrinterW(HANDLE printer, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed) {
    return finish(get_printer(printer, level, buffer, size, needed));
}
BOOL WINAPI sim_SetPrinterW(HANDLE printer, DWORD level, LPBYTE data, DWORD command) {
    return finish(set_printer(printer, level, data, command));
}
BOOL WINAPI sim_EnumPortsW(LPWSTR server, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed, LPDWORD returned) {
    return finish(enum_ports(server, level, buffer, size, needed, returned));
}
BOOL WINAPI sim_EnumPrintersW(DWORD flags, LPWSTR name, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed,
                              LPDWORD returned) {
    return finish(enum_printers(flags, name, level, buffer, size, needed, returned));
}
BOOL WINAPI sim_EnumMonitorsW(LPWSTR server, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed, LPDWORD returned) {
    return finish(enum_monitors(server, level, buffer, size, needed, returned));
}
BOOL WINAPI sim_XcvDataW(HANDLE channel, LPCWSTR command, PBYTE input, DWORD input_size, PBYTE output,
                         DWORD output_size, PDWORD needed, PDWORD status) {
    return finish(xcv_data(channel, command, input, input_size, output, output_size, needed, status));
}
HANDLE WINAPI sim_RevertToPrinterSelf() {
    HANDLE token = nullptr;
    finish(revert_to_self(&token));
    return token;
}
BOOL WINAPI sim_ImpersonatePrinterClient(HANDLE token) {
    return finish(impersonate_client(token));
}

// -- SPOOLSS.DLL at run time -----------------------------------------------------------------------------------------

// The system's function of that name, known once a module's import of it has been redirected.
Function system_function(const char* name);

HMODULE this_program() {
    return GetModuleHandleW(nullptr);
}

// This program itself stands for the library.
HMODULE WINAPI sim_LoadLibraryW(LPCWSTR path) {
    const WCHAR* const slash = wcsrchr(path, W('\\'));
    if (lstrcmpiW(slash != nullptr ? slash + 1 : path, W("SPOOLSS.DLL")) == 0) return this_program();
    return reinterpret_cast<HMODULE(WINAPI*)(LPCWSTR)>(system_function("LoadLibraryW"))(path);
}

FARPROC WINAPI sim_GetProcAddress(HMODULE module, LPCSTR name) {
    if (module == this_program() && reinterpret_cast<ULONG_PTR>(name) > 0xFFFF &&
        std::strcmp(name, "EnumPortsW") == 0) {
        return reinterpret_cast<FARPROC>(reinterpret_cast<Function>(sim_EnumPortsW));
    }
    return reinterpret_cast<FARPROC(WINAPI*)(HMODULE, LPCSTR)>(system_function("GetProcAddress"))(module, name);
}

struct Redirection {
    template <typename Target>
    Redirection(const char* function, Target replacement)
        : name(function), target(reinterpret_cast<Function>(replacement)) {}

    const char* name;
    Function target;
    std::atomic<Function> original = nullptr;  // the system's
};

Redirection redirections[] = {
    {"OpenPrinterW", sim_OpenPrinterW},
    {"ClosePrinter", sim_ClosePrinter},
    {"GetJobW", sim_GetJobW},
    {"SetJobW", sim_SetJobW},
    {"GetPrinterW", sim_GetPrinterW},
    {"SetPrinterW", sim_SetPrinterW},
    {"EnumPortsW", sim_EnumPortsW},
    {"EnumPrintersW", sim_EnumPrintersW},
    {"EnumMonitorsW", sim_EnumMonitorsW},
    {"XcvDataW", sim_XcvDataW},
    {"RevertToPrinterSelf", sim_RevertToPrinterSelf},
    {"ImpersonatePrinterClient", sim_ImpersonatePrinterClient},
    {"LoadLibraryW", sim_LoadLibraryW},
    {"GetProcAddress", sim_GetProcAddress},
};

Function system_function(const char* name) {
    return std::ranges::find_if(redirections,
                                [name](const Redirection& one) { return std::strcmp(one.name, name) == 0; })
        ->original;
}

// `slot` is where the address of a function of that name stands.
bool redirect(const char* name, Function& slot) {
    for (Redirection& redirection : redirections) {
        if (std::strcmp(name, redirection.name) != 0 || slot == redirection.target) continue;
        redirection.original = slot;
        if (!set_import(slot, redirection.target)) return false;
    }
    return true;
}

bool restore(const char*, const char*, Function& slot) {
    const auto found = std::ranges::find_if(redirections, [&](const Redirection& one) { return one.target == slot; });
    return found == std::end(redirections) || set_import(slot, found->original);
}

}  // namespace

bool redirect_calls_of(HMODULE module) {
    return visit_imports(module, [](const char*, const char* name, Function& slot) { return redirect(name, slot); });
}

bool restore_calls_of(HMODULE module) {
    return visit_imports(module, restore);
}

}  // namespace spooler_sim
