#include "winportmon/tsmon/identity.h"

namespace tsmon {

HANDLE Revert(const LogText& failure, const LogText& announcement) {
    const HANDLE token = RevertToPrinterSelf();
    log_dev(announcement);
    if (token == nullptr) log_error_last_error(failure);
    return token;
}

void Impersonate(HANDLE token, const LogText& failure) {
    if (!ImpersonatePrinterClient(token)) log_error_last_error(failure);
}

SpoolerIdentity::SpoolerIdentity(When when, const IdentityLines& lines)
    : impersonate_failed_(lines.impersonate_failed),
      token_(when == always || !RunsAsSystem() ? Revert(lines.revert_failed, lines.announcement) : nullptr) {}

SpoolerIdentity::~SpoolerIdentity() {
    if (token_ != nullptr) Impersonate(token_, impersonate_failed_);
}

}  // namespace tsmon
