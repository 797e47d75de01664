// System functions of the helper; implemented once per platform (linux/, windows/).
#pragma once

#include <filesystem>
#include <string>

namespace helper {

// The running program. How it was started does not tell: an unquoted command line breaks at the blanks of a path.
std::filesystem::path own_path();
// A path as the monitor writes it, in UTF-8, for this machine's file functions.
std::filesystem::path path_from_monitor(const std::string& path);
// Standard input and output carry bytes as they are, and a reader that has gone shows as a failed write.
void prepare_streams();
// Returns once the reader of standard output has taken all that was written to it, or has gone.
void wait_until_output_is_read();

}  // namespace helper
