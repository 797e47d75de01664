#include "winapi/spooler_sim/windows/redirect.h"

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

// The system's functions, kept because this program's own calls may be redirected too.
std::atomic<Function> load_library{nullptr};
std::atomic<Function> get_proc_address{nullptr};

HMODULE this_program() {
    return GetModuleHandleW(nullptr);
}

// This program itself stands for the library.
HMODULE WINAPI sim_LoadLibraryW(LPCWSTR path) {
    const WCHAR* const slash = wcsrchr(path, W('\\'));
    if (lstrcmpiW(slash != nullptr ? slash + 1 : path, W("SPOOLSS.DLL")) == 0) return this_program();
    return reinterpret_cast<HMODULE(WINAPI*)(LPCWSTR)>(load_library.load())(path);
}

FARPROC WINAPI sim_GetProcAddress(HMODULE module, LPCSTR name) {
    if (module == this_program() && reinterpret_cast<ULONG_PTR>(name) > 0xFFFF &&
        std::strcmp(name, "EnumPortsW") == 0) {
        return reinterpret_cast<FARPROC>(reinterpret_cast<Function>(sim_EnumPortsW));
    }
    return reinterpret_cast<FARPROC(WINAPI*)(HMODULE, LPCSTR)>(get_proc_address.load())(module, name);
}

struct Redirection {
    const char* name;
    Function target;
    std::atomic<Function>* original;  // null: not needed
};

template <typename Target>
Redirection redirection(const char* name, Target target, std::atomic<Function>* original = nullptr) {
    return {name, reinterpret_cast<Function>(target), original};
}

const Redirection redirections[] = {
    redirection("OpenPrinterW", sim_OpenPrinterW),
    redirection("ClosePrinter", sim_ClosePrinter),
    redirection("GetJobW", sim_GetJobW),
    redirection("SetJobW", sim_SetJobW),
    redirection("GetPrinterW", sim_GetPrinterW),
    redirection("SetPrinterW", sim_SetPrinterW),
    redirection("EnumPortsW", sim_EnumPortsW),
    redirection("EnumPrintersW", sim_EnumPrintersW),
    redirection("EnumMonitorsW", sim_EnumMonitorsW),
    redirection("XcvDataW", sim_XcvDataW),
    redirection("RevertToPrinterSelf", sim_RevertToPrinterSelf),
    redirection("ImpersonatePrinterClient", sim_ImpersonatePrinterClient),
    redirection("LoadLibraryW", sim_LoadLibraryW, &load_library),
    redirection("GetProcAddress", sim_GetProcAddress, &get_proc_address),
};

// `slot` is where the address of a function of that name stands.
bool redirect(const char* name, Function& slot) {
    for (const Redirection& redirection : redirections) {
        if (std::strcmp(name, redirection.name) != 0 || slot == redirection.target) continue;
        if (redirection.original != nullptr) *redirection.original = slot;
        if (!set_import(slot, redirection.target)) return false;
    }
    return true;
}

}  // namespace

bool redirect_calls_of(HMODULE module) {
    return visit_imports(module, [](const char*, const char* name, Function& slot) { return redirect(name, slot); });
}

}  // namespace spooler_sim
