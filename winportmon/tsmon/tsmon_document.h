// The spooler's calls of one document on a port: StartDocPort, WritePort as often as there is data, EndDocPort. They
// follow one another on one thread; ports print in parallel.
#pragma once

#include "winportmon/tsmon/tsmon.h"

namespace tsmon {

// TRUE: the document is accepted, to be printed or, when its job is refused, discarded. Blocks while a helper holds the
// job. FALSE: it could not be started, and the port is idle. On a port with a document in progress: TRUE, and that
// document is left as it is.
BOOL WINAPI StartDocPort(HANDLE port, LPWSTR printer_name, DWORD job_id, DWORD level, LPBYTE document);

// Routes a buffer to the printer, or to the file that will be rewritten, without a copy; *written may be less than
// `size`, and the rest is then the next call's. FALSE when it could not be taken (see TsmWriteToPrinter and
// AppendFile).
BOOL WINAPI WritePort(HANDLE port, LPBYTE data, DWORD size, LPDWORD written);

// Nothing is ever read from a printer: always FALSE.
BOOL WINAPI ReadPort(HANDLE port, LPBYTE buffer, DWORD size, LPDWORD read);

// Ends the document and leaves the port idle, whatever it returns. FALSE: the rewritten data could not be sent.
BOOL WINAPI EndDocPort(HANDLE port);

// Releases what a started document holds that will not be ended because its port is gone: connection, helper,
// work files, names and printer handle. Waits for the printer's close like EndDocPort, and for nobody else; the Print
// Provider's records stay.
void AbandonDocument(PortEntry* port);

// Splits "\\server\printer" into the port's server and printer names; any other name is a printer's. FALSE, with
// neither set, for a null name (last error 87) and when memory runs out.
BOOL ExtractPrinterFields(PortEntry* port, const WCHAR* full_name);

}  // namespace tsmon
