// The identity of the thread. The spooler calls as the user who prints; these switch the thread to the spooler's own
// identity and back, each depending on its setting.
#pragma once

#include "common/log.h"
#include "winapi/winapi.h"

namespace tsmon {

// Whether whole document operations run as the spooler (setting HWCheckPortMonitorRunAsSystem).
bool RunsAsSystem();

// A token is null when there is nothing to restore. Failures are logged.
HANDLE RevertAsConfigured();  // for whole operations, when they run as the spooler
void ImpersonateAsConfigured(HANDLE token);
HANDLE RevertForLogging();  // for log lines, with debug logging on and operations not run as the spooler
void ImpersonateForLogging(HANDLE token);

// The error lines of a scope that runs as the spooler, and a development line between the attempt and the first of
// them.
struct IdentityLines {
    LogText revert_failed = {};
    LogText impersonate_failed = {};
    LogText announcement = {};
};

// The thread runs as the spooler until the scope ends. A failure leaves its line, and the operation continues under
// the current identity.
class SpoolerIdentity {
  public:
    enum When { always, unless_done };  // unless_done: not when the whole operation runs as the spooler

    SpoolerIdentity(When when, const IdentityLines& lines);
    ~SpoolerIdentity();
    SpoolerIdentity(const SpoolerIdentity&) = delete;
    SpoolerIdentity& operator=(const SpoolerIdentity&) = delete;

  private:
    const LogText impersonate_failed_;
    const HANDLE token_;
};

}  // namespace tsmon
