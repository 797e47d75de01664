// The monitor's log: whether it can be written and rotated, and the errors of its last day.
#pragma once

#include <ctime>
#include <string>

#include "tools/tsport/doctor/base.h"

namespace tsport::doctor {

// `now` in local time as the log writes it ("2021-03-09 14:07:02"); empty: the day ends with the log's last line.
void look_at_log(const BaseDirectory& base, const Settings& settings, const std::string& now, Findings& findings);

}  // namespace tsport::doctor
