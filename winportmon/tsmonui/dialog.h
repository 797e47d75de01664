// Shared by the dialogs.
#pragma once

#include "winportmon/tsmonui/channel.h"
#include "winportmon/tsmonui/text.h"

namespace tsmonui {

// While it lives, the dialogs of this thread use the visual styles and the DPI awareness of the library's manifest:
// Windows heeds a library's manifest only where a thread asks for it, and its resolution settings not at all.
class DialogSurroundings {
  public:
    DialogSurroundings();
    ~DialogSurroundings();
    DialogSurroundings(const DialogSurroundings&) = delete;
    DialogSurroundings& operator=(const DialogSurroundings&) = delete;

  private:
    HANDLE look_;
    ULONG_PTR cookie_ = 0;
    void* resolution_ = nullptr;
};

// Runs a modal dialog of the string table's language. 0 when it ended with IDOK, ERROR_CANCELLED, or why it could not
// be shown.
DWORD RunDialog(int id, HWND owner, DLGPROC procedure, LPARAM parameter);

// Sets the text of a control, unless it is there already, and has it read out by screen readers.
void Say(HWND dialog, int control, const Text& text);

// The title for this computer, or that for another server, whose string comes next to it in the table.
Text TitleFor(UINT id, const Server& server);

// A message box with one button that waits for the administrator.
void Tell(HWND owner, const Text& title, const Text& text, UINT icon = MB_ICONERROR);

// Why the channel could not be opened, in words. `port` is null when it was that to the monitor.
Text ChannelFailure(DWORD error, const Server& server, const WCHAR* port);

}  // namespace tsmonui
