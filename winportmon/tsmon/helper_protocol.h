// The line protocol with the helper program: a command is one line on its standard input, an answer is what one read of
// its standard output returns. Every read blocks until the helper writes or its end closes.
#pragma once

#include "winportmon/tsmon/tsmon.h"

namespace tsmon {

// The plain exchange: one command ("name=value", or the name alone for a null value), one answer. TRUE only for "OK".
BOOL SendHelperCommand(HANDLE read_end, HANDLE write_end, const char* name, const char* value);

// The full exchange, over the port's hardware-check pipes: the helper can hold the caller with "WAIT" answers, whose
// device problem is shown on the job and the printer meanwhile. TRUE when it ended with "OK" or "DELETE", which
// *delete_job (may be null) tells apart: 1 for "DELETE", else 0. FALSE, logged, for all other ends; "ERROR", an
// unreadable answer and a lost helper leave the status bits as they are.
BOOL SendHelperCommandAndWait(PortEntry* port, const char* name, const char* value, uint32_t* delete_job);

}  // namespace tsmon
