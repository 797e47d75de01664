#include "winportmon/tsmon/identity.h"

#include "common/log.h"

namespace tsmon {
namespace {

HANDLE Revert(const char* failure_line, const char* announcement = nullptr) {
    const HANDLE token = RevertToPrinterSelf();
    if (announcement != nullptr) log_dev(LOG_HERE, "%s", announcement);
    if (token == nullptr && failure_line != nullptr) log_error_last_error(LOG_HERE, "%s", failure_line);
    return token;
}

void Impersonate(HANDLE token, const char* failure_line) {
    if (token == nullptr || ImpersonatePrinterClient(token)) return;
    if (failure_line == nullptr) failure_line = "TSM: Unable to ImpersonatePrinterClient";
    log_error_last_error(LOG_HERE, "%s", failure_line);
}

bool SwitchesForLogging() {
    return session_context.debug_logging != 0 && !RunsAsSystem();
}

}  // namespace

bool RunsAsSystem() {
    return session_context.hwcheck_port_monitor_run_as_system != 0;
}

HANDLE RevertAsConfigured() {
    return RunsAsSystem() ? Revert("TSM: Unable to RevertToPrinterSelf as configured") : nullptr;
}

void ImpersonateAsConfigured(HANDLE token) {
    if (RunsAsSystem()) Impersonate(token, "TSM: Unable to ImpersonatePrinterClient as configured");
}

HANDLE RevertForLogging() {
    return SwitchesForLogging() ? Revert("TSM: Unable to RevertToPrinterSelf for logging") : nullptr;
}

void ImpersonateForLogging(HANDLE token) {
    if (SwitchesForLogging()) Impersonate(token, "TSM: Unable to ImpersonatePrinterClient for logging");
}

SpoolerIdentity::SpoolerIdentity(When when, const char* revert_failed, const char* impersonate_failed,
                                 const char* announcement)
    : impersonate_failed_(impersonate_failed),
      token_(when == always || !RunsAsSystem() ? Revert(revert_failed, announcement) : nullptr) {}

SpoolerIdentity::~SpoolerIdentity() {
    Impersonate(token_, impersonate_failed_);
}

}  // namespace tsmon
