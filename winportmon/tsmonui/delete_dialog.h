// The question before a port is deleted.
#pragma once

#include "winportmon/tsmonui/channel.h"

namespace tsmonui {

// Asks once, naming the printers that use the port. 0 when it is to be deleted, ERROR_CANCELLED when not; another error
// when the dialog could not be shown.
DWORD AskToDelete(HWND owner, const Server& server, const WCHAR* port);

}  // namespace tsmonui
