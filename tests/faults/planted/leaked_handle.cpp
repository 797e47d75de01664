// A monitor that forgets to close the printer once something has failed: the sweep has to find the handle. The library
// is linked so that its calls of ClosePrinter come here.
#include "winapi/linux/fault.h"
#include "winapi/winapi.h"

BOOL system_close_printer(HANDLE printer) asm("__real__Z12ClosePrinterPv");
BOOL planted_close_printer(HANDLE printer) asm("__wrap__Z12ClosePrinterPv");

BOOL planted_close_printer(HANDLE printer) {
    return winapi::fault::failed_function().empty() ? system_close_printer(printer) : TRUE;
}
