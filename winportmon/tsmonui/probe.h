// The test of a printer: whether it accepts connections, determined on a thread of its own, so that the dialog stays
// responsive and can cancel it.
//
// Documents are printed by the server. When that is this computer, the test checks the printer from here, and knows why
// it failed. Another server is asked through the configuration channel, since only it can tell whether it reaches the
// printer; its answer is yes or no.
#pragma once

#include "winportmon/contract/printer.h"
#include "winportmon/tsmonui/channel.h"

namespace tsmonui {

struct ProbeResult {
    enum class Answer {
        checked,     // from here: ProbeResult::check
        server_yes,  // another server's answer
        server_no,
        not_done,  // the server could not be asked, or no thread be started: ProbeResult::error
    };
    Answer answer;
    contract::PrinterCheck check;
    DWORD error;  // Windows'
};

struct ProbeOrder {
    const Server& server;
    const WCHAR* monitor;                // its name on that server
    const contract::PortConfig& config;  // address and TCP port are tested
    DWORD limit_ms;                      // for each attempt to connect from this computer
    HWND window;                         // told of the end, ...
    UINT message;                        // ... by this message ...
    WPARAM ticket;                       // ... with this first parameter, which tells a test from one cancelled before
};

class Probe;

// Starts a test; null when that fails, with the last error. One that was started is released by EndProbe.
Probe* StartProbe(const ProbeOrder& order);

// The result; valid once the message has arrived.
ProbeResult ResultOf(const Probe* probe);

// Frees the probe, or cancels it: its message is then no longer sent, and its thread ends by itself as soon as the call
// it waits for returns. Null is allowed.
void EndProbe(Probe* probe);

}  // namespace tsmonui
