// The files of a log, in their order.
#pragma once

#include <string>
#include <vector>

namespace tsport::report {

// The files that the arguments name, the oldest first. A folder stands for the log in it, "print-monitor.log", with its
// numbered files; of files given one by one those that are numbers of the same log come in their order. "-" is the
// standard input. False with the reason when one does not exist.
bool find_logs(const std::vector<std::string>& arguments, std::vector<std::string>& files, std::string& why);

}  // namespace tsport::report
