// System functions of the tool; implemented once per platform.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "winapi/winapi.h"

namespace tsport {

// The part of the registry in which a hosted monitor's ports lie while it runs.
HKEY private_hive();

// Advice when no monitor is installed.
const char* installing_hint();

// Whether the path names a device by its name alone, as "NUL" does.
bool is_device_name(const std::string& path);
// As fopen, by a UTF-8 path; null with errno.
std::FILE* open_stream(const std::string& path, const char* mode);
// What was written to the stream is on the disk; false with errno.
bool flush_to_disk(std::FILE* stream);
// `fresh` takes the place of `target`, with that one's owner and rights when it exists. False with the reason; both are
// then as they were.
bool replace_file(const std::string& fresh, const std::string& target, std::string& why);

// The right to change a file, held by one process at a time. It is a lock on "FILE.lock" beside it, which the system
// takes back when its holder dies.
class FileLock {
  public:
    FileLock() = default;
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    enum class Result { taken, busy, failed };
    // One attempt; with `failed` the reason.
    Result try_take(const std::string& path, std::string& why);

  private:
    std::string path_;
    std::intptr_t handle_ = -1;
};

}  // namespace tsport
