// The test of a printer: whether it takes connections, found out on a thread of its own, so that the dialog lives on
// and can break it off.
//
// Documents are printed by the server. When that is this computer, the test looks the name up and connects itself, as
// the monitor does, and knows why it failed. Another server is asked through the configuration channel, since only it
// can tell whether it reaches the printer; its answer is yes or no.
#pragma once

#include "winportmon/tsmon/tsmon.h"
#include "winportmon/tsmonui/channel.h"

namespace tsmonui {

enum class Verdict {
    accepted,
    name_unknown,
    refused,
    no_answer,       // within the limit
    failed,          // for another reason: ProbeResult::error
    server_says_no,  // another server's answer
    not_done,        // the server could not be asked, or no thread be started: ProbeResult::error
};

struct ProbeResult {
    Verdict verdict;
    DWORD error;  // Windows' or Winsock's
};

struct ProbeOrder {
    const Server& server;
    const WCHAR* monitor;             // its name on that server
    const tsmon::PortConfig& config;  // address and TCP port are tested
    DWORD limit_ms;                   // for all attempts to connect from this computer
    HWND window;                      // told of the end, ...
    UINT message;                     // ... by this message ...
    WPARAM ticket;                    // ... with this first parameter, which tells a test from one broken off before
};

class Probe;

// Starts a test; null when that fails, with the last error. One that was started is given back by EndProbe.
Probe* StartProbe(const ProbeOrder& order);

// What was found out; once the message has come.
ProbeResult ResultOf(const Probe* probe);

// Frees the probe, or breaks it off: then its message does not come any more, and its thread ends by itself as soon as
// what it waits for allows. Null is allowed.
void EndProbe(Probe* probe);

}  // namespace tsmonui
