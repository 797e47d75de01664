// Files that are read and replaced as a unit.
#pragma once

#include <chrono>
#include <string>

#include "tsport/platform.h"

namespace tsport {

// False with the reason, including the system's text; also for what is no ordinary file: a folder, a device, a pipe.
bool read_file(const std::string& path, std::string& contents, std::string& why);

// Replaces the file completely, or leaves it as it was. A link stays a link, its target is written; owner and rights
// stay; a read-only file, or one with several names, is not written. A device or a pipe is written to. False with the
// reason.
bool write_file(const std::string& path, const std::string& contents, std::string& why);

// Where a chain of links leads; it need not exist.
std::string behind_links(const std::string& path);
bool is_there(const std::string& path);
// False for something that exists and is not an ordinary file.
bool is_file(const std::string& path);

// Waits until the lock is free; false with the reason after the time limit.
bool take_lock(FileLock& lock, const std::string& path, std::chrono::milliseconds limit, std::string& why);

}  // namespace tsport
