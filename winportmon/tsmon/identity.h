// The identity of the thread. The spooler calls as the user who prints; these switch the thread to the spooler's own
// identity and back, each depending on its setting.
#pragma once

#include "winapi/winapi.h"

namespace tsmon {

// Whether whole document operations run as the spooler (setting HWCheckPortMonitorRunAsSystem).
bool RunsAsSystem();

// A token is null when there is nothing to restore. Failures are logged.
HANDLE RevertAsConfigured();  // for whole operations, when they run as the spooler
void ImpersonateAsConfigured(HANDLE token);
HANDLE RevertForLogging();  // for log lines, with debug logging on and operations not run as the spooler
void ImpersonateForLogging(HANDLE token);

// The thread runs as the spooler until the scope ends. A failure leaves its own line, and the operation continues under
// the current identity. Null lines: a failed revert leaves none, a failed return to the client a general one.
class SpoolerIdentity {
  public:
    enum When { always, unless_done };  // unless_done: not when the whole operation runs as the spooler

    // `announcement` is a development line between the attempt and the line about its failure.
    explicit SpoolerIdentity(When when, const char* revert_failed = nullptr, const char* impersonate_failed = nullptr,
                             const char* announcement = nullptr);
    ~SpoolerIdentity();
    SpoolerIdentity(const SpoolerIdentity&) = delete;
    SpoolerIdentity& operator=(const SpoolerIdentity&) = delete;

  private:
    const char* impersonate_failed_;
    HANDLE token_;
};

}  // namespace tsmon
