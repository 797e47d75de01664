// Takes the place of the system's winspool.drv beside tools and tests: the spooler's functions lead to the simulation.
#include "winapi/spooler_sim/functions.h"
#include "winapi/spooler_sim/windows/finish.h"

using spooler_sim::finish;

BOOL WINAPI OpenPrinterW(LPWSTR name, LPHANDLE printer, LPPRINTER_DEFAULTSW /*defaults*/) {
    return finish(spooler_sim::open_printer(name, printer));
}

BOOL WINAPI ClosePrinter(HANDLE printer) {
    return finish(spooler_sim::close_printer(printer));
}

BOOL WINAPI GetJobW(HANDLE printer, DWORD job_id, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed) {
    return finish(spooler_sim::get_job(printer, job_id, level, buffer, size, needed));
}

BOOL WINAPI SetJobW(HANDLE printer, DWORD job_id, DWORD level, LPBYTE job, DWORD command) {
    return finish(spooler_sim::set_job(printer, job_id, level, job, command));
}

BOOL WINAPI GetPrinterW(HANDLE printer, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed) {
    return finish(spooler_sim::get_printer(printer, level, buffer, size, needed));
}

BOOL WINAPI SetPrinterW(HANDLE printer, DWORD level, LPBYTE data, DWORD command) {
    return finish(spooler_sim::set_printer(printer, level, data, command));
}

BOOL WINAPI EnumPortsW(LPWSTR server, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed, LPDWORD returned) {
    return finish(spooler_sim::enum_ports(server, level, buffer, size, needed, returned));
}
