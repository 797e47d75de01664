#include "winportmon/tsmon/identity.h"

#include "common/global.h"
#include "common/log.h"

namespace tsmon {
namespace {

HANDLE Revert(const LogText& failure, const LogText& announcement = {}) {
    const HANDLE token = RevertToPrinterSelf();
    log_dev(announcement);
    if (token == nullptr) log_error_last_error(failure);
    return token;
}

void Impersonate(HANDLE token, const LogText& failure) {
    if (token != nullptr && !ImpersonatePrinterClient(token)) log_error_last_error(failure);
}

bool SwitchesForLogging() {
    return session_context.debug_logging != 0 && !RunsAsSystem();
}

}  // namespace

bool RunsAsSystem() {
    return session_context.hwcheck_port_monitor_run_as_system != 0;
}

HANDLE RevertAsConfigured() {
    return RunsAsSystem() ? Revert(LOG_TEXT("TSM: Unable to RevertToPrinterSelf as configured")) : nullptr;
}

void ImpersonateAsConfigured(HANDLE token) {
    Impersonate(token, LOG_TEXT("TSM: Unable to ImpersonatePrinterClient as configured"));
}

HANDLE RevertForLogging() {
    return SwitchesForLogging() ? Revert(LOG_TEXT("TSM: Unable to RevertToPrinterSelf for logging")) : nullptr;
}

void ImpersonateForLogging(HANDLE token) {
    Impersonate(token, LOG_TEXT("TSM: Unable to ImpersonatePrinterClient for logging"));
}

SpoolerIdentity::SpoolerIdentity(When when, const IdentityLines& lines)
    : impersonate_failed_(lines.impersonate_failed),
      token_(when == always || !RunsAsSystem() ? Revert(lines.revert_failed, lines.announcement) : nullptr) {}

SpoolerIdentity::~SpoolerIdentity() {
    Impersonate(token_, impersonate_failed_);
}

}  // namespace tsmon
