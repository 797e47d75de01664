// Forced attributes: a job that has an msf record is spooled into a file, which a helper rewrites at the end of the
// document; what the helper writes goes to the printer. With the setting ForceAttributesDebug every file is kept, and a
// copy of what went to the printer too.
#pragma once

#include "winportmon/tsmon/tsmon.h"

namespace tsmon {

// Sets the port's force-attributes active flag from the job's msf record, and returns it.
uint32_t CheckForceAttrNeeded(PortEntry* port);

// Opens the job's work files as the spooler itself. FALSE, logged, when one cannot be created: none is open then.
BOOL CreateForceAttrFiles(PortEntry* port);

// Opens one of them: a new name, owned by the port, and an open stream. FALSE leaves both null.
BOOL CreateForceAttrFile(PortEntry* port, const char* kind, WorkFile* file);

// TRUE only when every byte was written. A file that has lost bytes takes no more, and each later call fails with the
// error of the loss; *written is untouched for a null stream.
BOOL AppendFile(const char* kind, WorkFile* file, const void* data, DWORD length, DWORD* written);

// Lets the helper rewrite the input file and forwards its output to the printer; blocks until the helper has closed its
// output. TRUE when all of it went out, or the spooler was asked to restart the job. Without a helper the work files
// are closed and the active flag is cleared.
BOOL SendForceAttrData(PortEntry* port);

// Forwards until the helper has closed its output; `size` is that of the pieces, in bytes.
BOOL RedirectDataToPrinter(PortEntry* port, HANDLE read_end, DWORD size);

// Deletes the job's files and records as the spooler itself, unless they are to be kept; FALSE, logged, when one of
// them could not be deleted. Names and streams stay.
BOOL DeleteForceAttrFiles(PortEntry* port);

// Closes and, unless they are to be kept, deletes the work files of a document that will not be ended. The records of
// the job stay: it may be printed on another port.
void AbandonForceAttrFiles(PortEntry* port);

// Closes the streams and frees the names; harmless when there are none.
void CloseForceAttrFiles(PortEntry* port);
void CloseForceAttrFile(const char* kind, WorkFile* file);

}  // namespace tsmon
