// A print spooler that answers the dialogs as a test wants it, put in the place of the functions that the finished
// library imports.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "winapi/spooler_sim/windows/imports.h"
#include "winportmon/contract/port_config.h"

namespace ui {

struct Printer {
    std::wstring name;
    std::wstring ports;
};

// Takes the place of winspool.drv while it lives; one at a time. Its functions are called on the dialogs' threads.
class ScriptedSpooler {
  public:
    explicit ScriptedSpooler(HMODULE library);
    ~ScriptedSpooler();
    ScriptedSpooler(const ScriptedSpooler&) = delete;
    ScriptedSpooler& operator=(const ScriptedSpooler&) = delete;

    // Each gives the Windows error; what is not set succeeds.
    std::function<DWORD(const std::wstring& object)> open;
    std::function<DWORD(const std::wstring& command, const void* input)> send;
    std::function<DWORD()> enumerate;

    contract::PortConfig config = {};  // that TSGetConfigInfo gives
    std::vector<Printer> printers;

    // Everything that was asked, in order: "open OBJECT ACCESS", "send COMMAND", "printers of SERVER".
    std::vector<std::string> asked() const;
    // The record or name that the last command brought.
    contract::PortConfig sent() const;
    std::wstring sent_name() const;
    // Channels that are open now.
    int channels() const;

  private:
    HMODULE library_;
    std::vector<spooler_sim::Function> before_;
};

contract::PortConfig make_config(const std::wstring& name, const std::wstring& address, uint32_t port);

}  // namespace ui
