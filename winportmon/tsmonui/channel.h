// The way to the monitor on a print server: the spooler's configuration channel, which reaches the monitor of another
// server as it does this computer's.
#pragma once

#include "winapi/winapi.h"
#include "winportmon/tsmonui/text.h"

namespace tsmonui {

// A print server as the dialogs' callers name it.
class Server {
  public:
    // Null or empty is this computer; a name is taken with and without its leading backslashes.
    explicit Server(const WCHAR* name);

    bool is_this_computer() const { return this_computer_; }
    // "\\NAME"; empty when no server was named.
    const Text& name() const { return name_; }
    // For sentences: "\\NAME" or "this computer".
    Text InWords() const;

  private:
    Text name_;
    bool this_computer_ = true;
};

class Channel {
  public:
    static constexpr DWORD kAdminister = SERVER_ACCESS_ADMINISTER;
    static constexpr DWORD kEnumerate = SERVER_ACCESS_ENUMERATE;

    Channel() = default;
    ~Channel() { Close(); }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    // Opens the channel to a monitor, or to a port's own monitor. 0, or the reason as a Windows error.
    DWORD OpenMonitor(const Server& server, const WCHAR* monitor, DWORD access);
    DWORD OpenPort(const Server& server, const WCHAR* port, DWORD access);
    void Close();

    // A command's own status, or why it did not reach the monitor. Texts are given with their terminator. Blocks until
    // the server has answered.
    DWORD Send(const WCHAR* command, const void* input, size_t input_size, void* output = nullptr,
               size_t output_size = 0) const;

  private:
    DWORD Open(const Server& server, const WCHAR* kind, const WCHAR* name, DWORD access);

    HANDLE handle_ = nullptr;
};

}  // namespace tsmonui
