// The dialog in which a port is added or configured.
#pragma once

#include "winportmon/contract/port_config.h"
#include "winportmon/tsmonui/channel.h"
#include "winportmon/tsmonui/probe.h"

namespace tsmonui {

class PortDialog {
  public:
    // For a new port on that server.
    PortDialog(const Server& server, const WCHAR* monitor);
    // For an existing one.
    PortDialog(const Server& server, const WCHAR* monitor, const contract::PortConfig& config);
    ~PortDialog() { EndProbe(probe_); }
    PortDialog(const PortDialog&) = delete;
    PortDialog& operator=(const PortDialog&) = delete;

    // Returns when the port has been added or changed: 0. ERROR_CANCELLED when the administrator gave up, or changed
    // nothing; another error when the dialog could not be shown.
    DWORD Show(HWND owner);

    // What was typed at last.
    const contract::PortConfig& config() const { return config_; }

  private:
    static INT_PTR CALLBACK Procedure(HWND window, UINT message, WPARAM first, LPARAM second);
    INT_PTR Handle(UINT message, WPARAM first);
    void Initialise();
    void Command(int control, int what);

    void FieldChanged(int control);
    void FieldFull(int control);
    void ProposeName();
    void Check();
    Text NameProblemHere() const;
    void SayOf(int note, const Text& problem, UINT otherwise);
    contract::PortConfig Typed() const;

    void StartTest();
    void StopTest(UINT why);
    void TestEnded();

    void Accept();
    void CheckKnown() const;
    void Refused(DWORD error);

    const Server& server_;
    const WCHAR* const monitor_;
    const bool adding_;
    contract::PortConfig config_;  // before and after
    HWND window_ = nullptr;
    bool setting_ = false;     // a text is set here, not typed
    bool name_typed_ = false;  // the name no longer follows the address
    bool name_taken_ = false;  // as the server said of the name as it is
    int full_ = 0;             // the field that was too short for what was typed or pasted
    Probe* probe_ = nullptr;   // the test that runs
    WPARAM ticket_ = 0;        // its number
};

}  // namespace tsmonui
