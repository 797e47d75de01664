// Takes the place of the system's spoolss.dll beside tools and tests: who a thread acts for, and the spooler's ports.
#include "winapi/spooler_sim/functions.h"
#include "winapi/spooler_sim/windows/finish.h"

using spooler_sim::finish;

HANDLE WINAPI RevertToPrinterSelf() {
    HANDLE token = nullptr;
    finish(spooler_sim::revert_to_self(&token));
    return token;
}

BOOL WINAPI ImpersonatePrinterClient(HANDLE token) {
    return finish(spooler_sim::impersonate_client(token));
}

BOOL WINAPI EnumPortsW(LPWSTR server, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed, LPDWORD returned) {
    return finish(spooler_sim::enum_ports(server, level, buffer, size, needed, returned));
}
