// Sends a document's data to the printer: nothing else does.
#pragma once

#include "winportmon/tsmon/tsmon.h"

namespace tsmon {

// Sends a buffer over the port's connection, in one send: TRUE when data went out, *written bytes of it. FALSE: nothing
// went out. When the connection was lost, the spooler is asked to restart the job, by this call under forced
// attributes, else by the next one, once the printer answers again; *restart_requested is TRUE when this call asked,
// whatever the spooler answered.
// *written is 0 when a send was tried, and untouched when there was no connection. Last error 1460 when the send
// succeeded without taking a byte. `caller` labels the log lines.
BOOL TsmWriteToPrinter(PortEntry* port, const char* caller, const void* data, DWORD length, DWORD* written,
                       BOOL* restart_requested);

// Rewrites the job's progress record, if its file is still there, as the spooler itself.
void WriteHpcJobFile(const char* caller, const HpcJobRecord* record);

}  // namespace tsmon
