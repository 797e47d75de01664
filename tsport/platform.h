// System functions of the tool; implemented once per platform.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "winapi/winapi.h"

namespace tsport {

// The part of the registry that holds a hosted monitor's ports while it runs.
HKEY private_hive();

// Advice when no monitor is installed.
const char* installing_hint();

// How many sockets the process may have open.
size_t most_sockets();

// Whether the path is the name of a device, such as "NUL".
bool is_device_name(const std::string& path);
// As fopen, by a UTF-8 path; null with errno.
std::FILE* open_stream(const std::string& path, const char* mode);
// At most `most` bytes from an offset on; what is behind the end is left out. The file may be renamed or deleted
// meanwhile. False with the reason.
bool read_part(const std::string& path, std::uint64_t offset, size_t most, std::string& bytes, std::string& why);
// Lets the terminal of standard output take escape sequences.
void use_escape_sequences();
// Flushes what was written to the stream to the disk; false with errno.
bool flush_to_disk(std::FILE* stream);
// Replaces `target` by `fresh`, which gets the owner and rights of an existing target. False with the reason, and both
// unchanged.
bool replace_file(const std::string& fresh, const std::string& target, std::string& why);

// Why a lock was not taken, behind the file's name.
inline constexpr char kForeignLock[] = " is in the way: it is not a lock of this program";

// The right to change a file, held by one process at a time. It is a lock on "FILE.lock" beside it, an empty file that
// the system releases when its holder dies. A link of that name, or a file with contents, is not ours: it is left
// alone.
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
