// The files of a log, in their order, and their lines.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tsport::report {

// The files that the arguments name, the oldest first. A folder stands for the log in it, "print-monitor.log", with its
// numbered files; of files given one by one those that are numbers of the same log come in their order. "-" is the
// standard input. False with the reason when one is not there.
bool find_logs(const std::vector<std::string>& arguments, std::vector<std::string>& files, std::string& why);

struct LineReader {
    static constexpr size_t longest = 1 << 20;  // of a line; what is longer is given in part, with `whole` false

    std::function<void(std::string_view line, bool whole)> line;
    std::uint64_t bytes = 0;
    bool utf16 = false;  // a file was UTF-16, as some tools write a copy: none of its lines can be understood

    // All lines of a file; false with the reason when it cannot be read, or not to its end.
    bool read(const std::string& file, std::string& why);
};

}  // namespace tsport::report
