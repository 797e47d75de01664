// The lines of the monitor's log that tell the story of a demonstration.
#pragma once

#include <string>
#include <vector>

namespace demo {

std::vector<std::string> telling_lines(const std::string& log_path);

}  // namespace demo
