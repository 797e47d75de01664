// The monitor's log: whether it can be written and rotated, and the errors of its last day.
#pragma once

#include <optional>

#include "tsport/doctor/base.h"
#include "tsport/report/log_line.h"

namespace tsport::doctor {

// Without `now` the day ends with the log's last line.
void check_log(const BaseDirectory& base, const Settings& settings, std::optional<report::Timestamp> now,
               Findings& findings);

}  // namespace tsport::doctor
