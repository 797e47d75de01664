// The record of a migration: a file with a line for each step, written and on the disk before the step begins, so that
// what was done can be undone whenever and however it ended.
#pragma once

#include <string>
#include <vector>

#include "tsport/file.h"
#include "tsport/ports/port.h"

namespace tsport::migrate {

struct Step {
    enum class Kind { add, add_standard, move } kind;
    Port port;  // added, to this monitor or to Standard TCP/IP ports; or that a queue was given
    Text queue;
    Text from;  // its port before
};

class Journal {
  public:
    Journal() = default;
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    // Opens the file, which need not exist yet, and keeps other processes from it. False with the reason; a file that
    // is something else is refused.
    bool open(const std::string& path, std::string& why);
    // The steps that have not been undone, in their order.
    const std::vector<Step>& steps() const { return steps_; }
    bool write(const Step& step, std::string& why);
    // All of them have been undone.
    bool write_undone(std::string& why);

  private:
    bool write_line(const std::string& line, std::string& why);

    FileLock lock_;
    std::string path_;
    std::FILE* stream_ = nullptr;
    std::vector<Step> steps_;
};

}  // namespace tsport::migrate
