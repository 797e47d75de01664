// Files as whole texts: read and replaced as a unit.
#pragma once

#include <chrono>
#include <string>

#include "tsport/platform.h"

namespace tsport {

// False with the reason, including the system's text.
bool read_file(const std::string& path, std::string& contents, std::string& why);

// The file is there with all of the contents or stays as it was. A link stays a link and what it leads to is written;
// owner and rights stay; a file that is marked read-only is not written. What is no file (a device, a pipe) is written
// to. False with the reason.
bool write_file(const std::string& path, const std::string& contents, std::string& why);

// Where a chain of links leads; it need not exist.
std::string behind_links(const std::string& path);
// False for what is there and no ordinary file.
bool is_file(const std::string& path);

// Waits until the lock is free; false with the reason when it is not in time.
bool take_lock(FileLock& lock, const std::string& path, std::chrono::milliseconds limit, std::string& why);

}  // namespace tsport
