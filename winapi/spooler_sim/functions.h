// The implementation of the spooler's functions of the same names, whichever library they are called through.
// Each returns a Win32 error code, 0 for success, and leaves the last error alone; any thread may call them.
#pragma once

#include "winapi/spooler_sim/spooler_sim.h"

namespace spooler_sim {

// Knows printers by their registered name; "\\SERVER\Printer" also finds what is registered as "Printer".
// ",XcvMonitor NAME" and ",XcvPort NAME", a server's name before them or not, open the configuration channel of that
// server's monitor. Names of other things (", Job 1") are unknown here.
DWORD open_printer(LPCWSTR name, HANDLE* printer, ACCESS_MASK access = 0);
DWORD close_printer(HANDLE printer);
// Level 2. With too small a buffer: ERROR_INSUFFICIENT_BUFFER and the size in `needed`.
DWORD get_job(HANDLE printer, DWORD id, DWORD level, BYTE* buffer, DWORD size, DWORD* needed);
// Levels 0 and 2; only the status of a level 2 record is used.
DWORD set_job(HANDLE printer, DWORD id, DWORD level, const BYTE* record, DWORD command);
// Level 2.
DWORD get_printer(HANDLE printer, DWORD level, BYTE* buffer, DWORD size, DWORD* needed);
// Level 6, the status; level 2, all but status and jobs, through a handle with PRINTER_ACCESS_ADMINISTER. A level 2
// record has the printer's own name and no security descriptor: other ones are refused (ERROR_NOT_SUPPORTED).
DWORD set_printer(HANDLE printer, DWORD level, const BYTE* record, DWORD command);
// The functions below take a server's name, null or empty for this machine's; RPC_S_SERVER_UNAVAILABLE when that one
// does not answer. Within a monitor's command a null name means the server of that monitor. Levels 1 and 2: the ports
// of the server's monitor, then those of others, which only this machine has.
DWORD enum_ports(LPCWSTR server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed, DWORD* returned);

// Level 2; of the flags, PRINTER_ENUM_LOCAL is this machine and PRINTER_ENUM_NAME the server that is named.
DWORD enum_printers(DWORD flags, LPCWSTR server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed, DWORD* returned);
// Level 1.
DWORD enum_monitors(LPCWSTR server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed, DWORD* returned);
// A command through a configuration channel; its own code comes back in `status`.
DWORD xcv_data(HANDLE channel, LPCWSTR command, BYTE* input, DWORD input_size, BYTE* output, DWORD output_size,
               DWORD* needed, DWORD* status);

// ERROR_NO_TOKEN and a null token when the thread acts for no client.
DWORD revert_to_self(HANDLE* token);
// Consumes the token, whether the identity is assumed (`take_on`) or the call is made to fail.
DWORD impersonate_client(HANDLE token, bool take_on = true);

}  // namespace spooler_sim
