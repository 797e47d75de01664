// A print spooler that answers the dialogs as a test wants it: the simulation, with a monitor on this computer and on
// the server "\\print1" that follows the test's orders.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "winapi/spooler_sim/spooler_sim.h"
#include "winportmon/contract/port_config.h"

namespace ui {

// One at a time. While it lives, the library's calls lead to the simulation.
class ScriptedSpooler {
  public:
    explicit ScriptedSpooler(HMODULE library);
    ~ScriptedSpooler();
    ScriptedSpooler(const ScriptedSpooler&) = delete;
    ScriptedSpooler& operator=(const ScriptedSpooler&) = delete;

    // The monitor's answer to a command, as a Windows error, and what happens once a channel is open; called on the
    // dialogs' threads. What is not set succeeds.
    std::function<DWORD(const std::wstring& command)> send;
    std::function<void()> opened;

    contract::PortConfig config = {};               // that TSGetConfigInfo gives
    std::vector<std::wstring> ports = {L"Office"};  // that the monitor lists

    // Everything that the monitor was asked, in order: "open [\\SERVER\]OBJECT ACCESS", "send COMMAND".
    std::vector<std::string> asked() const;
    // The record or name that the last command brought.
    contract::PortConfig sent() const;
    std::wstring sent_name() const;
    // Channels that are open now.
    static int channels();
    // The monitor is gone, as if it had been uninstalled.
    static void remove_monitor();

  private:
    HMODULE library_;
};

contract::PortConfig make_config(const std::wstring& name, const std::wstring& address, uint32_t port);

}  // namespace ui
