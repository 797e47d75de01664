// The finished library of the dialogs. Behind it the simulated print spooler, whose monitor, on this computer and on
// the server "\\print1", answers as a test wants it.
#pragma once

#include <gtest/gtest.h>

#include <mutex>
#include <vector>

#include "host/ports.h"
#include "testbed/print_server.h"
#include "tests/ui/desk.h"
#include "winportmon/tsmonui/resource.h"

namespace ui {

using testbed::wait_until;

// Copies the finished libraries to where Windows looks for them: these dialogs, the monitor, and the thin monitor that
// stands between it and Wine's spooler.
bool install_libraries();
// Loaded once, for the life of the process. Functions of its only export.
HMODULE library();
const MONITORUI& functions();

// An administrator's program that has called one of the library's functions.
Desk add_port(const WCHAR* server = nullptr);
Desk configure_port(const WCHAR* port, const WCHAR* server = nullptr);
Desk delete_port(const WCHAR* port, const WCHAR* server = nullptr);

// With a spooler that knows every port of its monitor, and with one that has a list of its own (true).
class Dialogs : public testing::TestWithParam<bool> {
  protected:
    Dialogs();
    ~Dialogs() override;

    // Everything that the monitor was asked, in order: "open [\\SERVER\]OBJECT ACCESS", and commands with the record or
    // name that they bring ("TSAddPort Office|10.1.2.3|9100").
    std::vector<std::string> asked();
    // The ports that the monitor lists.
    void set_ports(std::vector<std::wstring> names);
    // The monitor is gone, as if it had been uninstalled.
    static void remove_monitor();
    // The dialog has added a port: a spooler with a list of its own does not know it, which is said.
    // Channels that are open now.
    int channels() const { return channels_; }
    static void expect_added(Desk& desk, std::source_location place = std::source_location::current());

    // The monitor's answer to a command, as a Windows error, and what happens once a channel is open; called on the
    // dialogs' threads. What is not set succeeds.
    std::function<DWORD(const std::string& command)> answer;
    std::function<void()> opened;
    host::PortConfig config = {};  // that TSGetConfigInfo gives

  private:
    struct Monitor;  // its functions

    std::mutex mutex_;
    std::vector<std::string> asked_;
    std::vector<std::wstring> ports_ = {L"Office"};
    std::atomic<int> channels_ = 0;
};

#define BOTH_MODES(suite) INSTANTIATE_TEST_SUITE_P(Spooler, suite, testing::Bool())

}  // namespace ui
