// The spooler's functions on top of the simulation.
#include "winapi/linux/spooler.h"

#include "winapi/linux/error.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/handle.h"
#include "winapi/spooler_sim/functions.h"

namespace {

using winapi::fail;
using winapi::fault::Point;

Point open_printer_point("OpenPrinterW");
Point close_printer_point("ClosePrinter");
Point get_job_point("GetJobW");
Point set_job_point("SetJobW");
Point get_printer_point("GetPrinterW");
Point set_printer_point("SetPrinterW");
Point enum_ports_point("EnumPortsW");
Point enum_printers_point("EnumPrintersW");
Point enum_monitors_point("EnumMonitorsW");
Point xcv_data_point("XcvDataW");
Point revert_point("RevertToPrinterSelf");
Point impersonate_point("ImpersonatePrinterClient");

BOOL finish(DWORD error) {
    if (error == ERROR_INVALID_HANDLE) winapi::count_misuse();
    return error == 0 ? TRUE : fail(error);
}

}  // namespace

BOOL OpenPrinterW(LPWSTR name, HANDLE* printer, PRINTER_DEFAULTSW* defaults) {
    if (open_printer_point.fails()) return fail(ERROR_ACCESS_DENIED);
    return finish(spooler_sim::open_printer(name, printer, defaults != nullptr ? defaults->DesiredAccess : 0));
}

BOOL ClosePrinter(HANDLE printer) {
    const bool must_fail = close_printer_point.fails();
    const BOOL closed = finish(spooler_sim::close_printer(printer));
    return must_fail ? fail(ERROR_INVALID_HANDLE) : closed;
}

BOOL GetJobW(HANDLE printer, DWORD job_id, DWORD level, BYTE* buffer, DWORD size, DWORD* needed) {
    if (get_job_point.fails()) return fail(ERROR_INVALID_PARAMETER);
    return finish(spooler_sim::get_job(printer, job_id, level, buffer, size, needed));
}

BOOL SetJobW(HANDLE printer, DWORD job_id, DWORD level, BYTE* job, DWORD command) {
    if (set_job_point.fails()) return fail(ERROR_ACCESS_DENIED);
    return finish(spooler_sim::set_job(printer, job_id, level, job, command));
}

BOOL GetPrinterW(HANDLE printer, DWORD level, BYTE* buffer, DWORD size, DWORD* needed) {
    if (get_printer_point.fails()) return fail(ERROR_ACCESS_DENIED);
    return finish(spooler_sim::get_printer(printer, level, buffer, size, needed));
}

BOOL SetPrinterW(HANDLE printer, DWORD level, BYTE* data, DWORD command) {
    if (set_printer_point.fails()) return fail(ERROR_ACCESS_DENIED);
    return finish(spooler_sim::set_printer(printer, level, data, command));
}

BOOL EnumPortsW(LPWSTR server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed, DWORD* returned) {
    if (enum_ports_point.fails()) return fail(ERROR_NOT_ENOUGH_MEMORY);
    return finish(spooler_sim::enum_ports(server, level, buffer, size, needed, returned));
}

BOOL EnumPrintersW(DWORD flags, LPWSTR name, DWORD level, BYTE* buffer, DWORD size, DWORD* needed, DWORD* returned) {
    if (enum_printers_point.fails()) return fail(ERROR_NOT_ENOUGH_MEMORY);
    return finish(spooler_sim::enum_printers(flags, name, level, buffer, size, needed, returned));
}

BOOL EnumMonitorsW(LPWSTR server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed, DWORD* returned) {
    if (enum_monitors_point.fails()) return fail(ERROR_NOT_ENOUGH_MEMORY);
    return finish(spooler_sim::enum_monitors(server, level, buffer, size, needed, returned));
}

BOOL XcvDataW(HANDLE channel, LPCWSTR command, BYTE* input, DWORD input_size, BYTE* output, DWORD output_size,
              DWORD* needed, DWORD* status) {
    if (xcv_data_point.fails()) return fail(RPC_S_SERVER_UNAVAILABLE);
    return finish(spooler_sim::xcv_data(channel, command, input, input_size, output, output_size, needed, status));
}

HANDLE RevertToPrinterSelf() {
    HANDLE token = nullptr;
    if (revert_point.fails()) {
        fail(ERROR_ACCESS_DENIED);
    } else if (const DWORD error = spooler_sim::revert_to_self(&token)) {
        fail(error);
    }
    return token;
}

BOOL ImpersonatePrinterClient(HANDLE token) {
    const bool must_fail = impersonate_point.fails();
    const BOOL taken = finish(spooler_sim::impersonate_client(token, !must_fail));
    return must_fail ? fail(ERROR_BAD_IMPERSONATION_LEVEL) : taken;
}
