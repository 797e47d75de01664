// What path.cpp, open_file.cpp, file.cpp and stream.cpp share. Every function here returns a Win32 error code
// (0: done) and leaves the last error alone.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "winapi/linux/error.h"
#include "winapi/linux/handle.h"
#include "winapi/linux/types.h"

namespace winapi {

// --- path.cpp

std::string current_folder();
// The length in characters that Windows counts for a path: the current directory belongs to a relative one.
size_t full_path_length(std::u16string_view path);
// A resolved path keeps a "/" at its end where the Windows path had a separator there.
bool ends_in_separator(const std::string& native);
// The code for an errno that a call with this path gave: a missing file (2) or a missing folder above it (3).
DWORD path_error(const std::string& native, int error);

// --- open_file.cpp

struct OpenRequest {
    DWORD access;       // GENERIC_READ, GENERIC_WRITE or both
    DWORD share;        // FILE_SHARE_*
    DWORD disposition;  // CREATE_NEW, CREATE_ALWAYS, OPEN_EXISTING, OPEN_ALWAYS
    bool append;        // every write goes to the end
    const char* kind;   // for a report of open handles
};

using FileId = std::pair<dev_t, ino_t>;

// An open file and its entry in the table of who shares what with whom.
class OpenFile final : public Object {
  public:
    OpenFile(int descriptor, const FileId& id, const char* kind) : descriptor_(descriptor), id_(id), kind_(kind) {}
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() override { OpenFile::close(); }

    DWORD close() override;
    const char* kind() const override { return kind_; }
    int descriptor() const override { return descriptor_; }

  private:
    int descriptor_;
    FileId id_;
    const char* kind_;
};

// Opens as CreateFileW does, sharing violations (32) included; `existed` tells whether the file was there
// before. A refused open changes nothing of the file.
DWORD open_file(const std::string& native, const OpenRequest& request, std::shared_ptr<OpenFile>& file, bool& existed);
DWORD delete_file(const std::string& native);
// Never replaces a file that is there.
DWORD rename_file(const std::string& from, const std::string& to);
// What an open file is: device, inode, mode and size; 0 or an errno. It does not ask for the times, since asking
// for them makes the next change of the file, the next line of the log, more expensive.
int look_at(int descriptor, struct stat& status);
// Windows' read-only attribute: nobody may write to it.
bool is_read_only(const struct stat& status);

// Writes all of it, in as many calls as it takes; `written` is right after a failure too.
DWORD write_all(int descriptor, const void* data, size_t size, size_t& written);

// One read; 0 bytes at the end of a file, ERROR_BROKEN_PIPE at the end of a pipe.
DWORD read_some(int descriptor, void* buffer, size_t size, size_t& count);

// The same for what may be a pipe or a socket: without a reader it gives ERROR_NO_DATA and the process lives
// on. The process's own handling of the signal stays as it is, for child processes inherit it.
DWORD write_all_quietly(int descriptor, const void* data, size_t size, size_t& written);

// --- time.cpp

FILETIME file_time_of(const timespec& time);

}  // namespace winapi
