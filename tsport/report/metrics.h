// The documents of a log as metrics for Prometheus, in the text format of node_exporter's and windows_exporter's
// textfile collectors.
#pragma once

#include <string>

#include "tsport/report/report.h"

namespace tsport::report {

// What the file `path` is to hold. Counters go on counting over rotations of the log: `state` is the text that the last
// call left, "" for none, and becomes the one for the next. Documents that ended before that call's last line are not
// counted again. False with the reason when `state` is none.
bool write_metrics(const Report& report, std::string& state, std::string& text, std::string& why);

}  // namespace tsport::report
