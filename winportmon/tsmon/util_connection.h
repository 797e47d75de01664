// The TCP connection to a printer: one per document, opened when it starts and closed when it ends. Nothing is read.
#pragma once

#include "winportmon/tsmon/tsmon.h"

namespace tsmon {

// Resolves the configuration's address and connects to the first of its addresses that answers; blocks for as long as
// the system's connect does. TRUE stores the socket, in blocking mode and not inheritable. `log_failures`:
// whether failures are logged.
BOOL ConnectToPrinter(const PortConfig* config, SOCKET* out, BOOL log_failures);

// Waits up to 20 seconds: 0 when the socket can take data, 1 on time-out, -1 on error.
int WaitForSocketWritable(SOCKET socket);

// One send of the whole buffer, which may take only a part (*sent bytes); when it would block, one wait and one more
// send. FALSE leaves the socket connected and *sent at 0.
BOOL SendToSocket(SOCKET socket, const void* data, DWORD length, DWORD* sent);

// Ends the data, waits up to 30 seconds for the printer to close its side, closes the socket and sets the variable to
// INVALID_SOCKET. Always TRUE. `complete`: all data has been sent; a printer that resets the
// connection then leaves an error line, since the document's tail may be lost.
BOOL CleanupSocket(SOCKET* socket, bool complete = false);

}  // namespace tsmon
