#include "winapi/spooler_sim/windows/redirect.h"

#include <atomic>
#include <cstring>

#include "winapi/spooler_sim/functions.h"

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

using Function = void (*)();

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

// -- The import table ------------------------------------------------------------------------------------------------

bool redirect(Function& slot, const Redirection& redirection) {
    if (slot == redirection.target) return true;
    DWORD protection = 0;
    if (!VirtualProtect(&slot, sizeof slot, PAGE_READWRITE, &protection)) return false;
    if (redirection.original != nullptr) *redirection.original = slot;
    slot = redirection.target;
    return VirtualProtect(&slot, sizeof slot, protection, &protection) != FALSE;
}

// `names` and `slots` of one imported library run side by side.
bool redirect_imports(BYTE* image, const IMAGE_THUNK_DATA* names, IMAGE_THUNK_DATA* slots) {
    for (; names->u1.AddressOfData != 0; ++names, ++slots) {
        if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
        const auto* const import = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(image + names->u1.AddressOfData);
        for (const Redirection& redirection : redirections) {
            if (std::strcmp(reinterpret_cast<const char*>(import->Name), redirection.name) != 0) continue;
            if (!redirect(reinterpret_cast<Function&>(slots->u1.Function), redirection)) return false;
        }
    }
    return true;
}

}  // namespace

bool redirect_calls_of(HMODULE module) {
    auto* const image = reinterpret_cast<BYTE*>(module);
    const auto* const headers =
        reinterpret_cast<const IMAGE_NT_HEADERS*>(image + reinterpret_cast<const IMAGE_DOS_HEADER*>(image)->e_lfanew);
    const IMAGE_DATA_DIRECTORY& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (directory.VirtualAddress == 0) return true;
    const auto* library = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(image + directory.VirtualAddress);
    for (; library->Name != 0; ++library) {
        // A linker may leave the first table out; its names are then in the second one only before loading.
        if (library->OriginalFirstThunk == 0) continue;
        if (!redirect_imports(image, reinterpret_cast<const IMAGE_THUNK_DATA*>(image + library->OriginalFirstThunk),
                              reinterpret_cast<IMAGE_THUNK_DATA*>(image + library->FirstThunk))) {
            return false;
        }
    }
    return true;
}

}  // namespace spooler_sim
