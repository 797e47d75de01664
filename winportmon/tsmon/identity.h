// The identity of the thread. The spooler calls as the user who prints; these switch the thread to the spooler's own
// identity and back, each depending on its setting.
#pragma once

#include "common/global.h"
#include "common/log.h"
#include "winapi/winapi.h"

namespace tsmon {

// Whether whole document operations run as the spooler (setting HWCheckPortMonitorRunAsSystem).
inline bool RunsAsSystem() {
    return session_context.hwcheck_port_monitor_run_as_system != 0;
}

// Switches to the spooler's own identity; the token that leads back, or null. A failure leaves its line, and the
// announcement, if there is one, stands before it.
HANDLE Revert(const LogText& failure, const LogText& announcement = {});
// Switches back by that token, which is not null.
void Impersonate(HANDLE token, const LogText& failure);

// These are called for every buffer, where as a rule they have nothing to do. A token is null when there is nothing to
// restore.
inline HANDLE RevertAsConfigured() {  // for whole operations, when they run as the spooler
    return RunsAsSystem() ? Revert(LOG_TEXT("TSM: Unable to RevertToPrinterSelf as configured")) : nullptr;
}

inline void ImpersonateAsConfigured(HANDLE token) {
    if (token != nullptr) Impersonate(token, LOG_TEXT("TSM: Unable to ImpersonatePrinterClient as configured"));
}

inline HANDLE RevertForLogging() {  // for log lines, with debug logging on and operations not run as the spooler
    const bool switches = session_context.debug_logging != 0 && !RunsAsSystem();
    return switches ? Revert(LOG_TEXT("TSM: Unable to RevertToPrinterSelf for logging")) : nullptr;
}

inline void ImpersonateForLogging(HANDLE token) {
    if (token != nullptr) Impersonate(token, LOG_TEXT("TSM: Unable to ImpersonatePrinterClient for logging"));
}

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
