// What path.cpp, file.cpp and stream.cpp share. Every function here returns a Win32 error code (0: done) and leaves the
// last error alone.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "winapi/linux/error.h"
#include "winapi/linux/handle.h"
#include "winapi/linux/types.h"

namespace winapi {

// --- path.cpp

std::string current_folder();
// The length in characters that Windows counts for a path: the current directory belongs to a relative one.
size_t full_path_length(std::u16string_view path);
// The code for an errno that a call with this path gave: a missing file (2) or a missing folder above it (3).
DWORD path_error(const std::string& native, int error);

// --- file.cpp

// Opens as open does with these flags. Refused, without any change of the file, for a folder, and when the other opens
// of the file and `share` (FILE_SHARE_*) exclude each other (32).
DWORD open_file(const std::string& native, int flags, DWORD share, std::shared_ptr<Object>& file);
// Never replaces a file that is there.
DWORD rename_file(const std::string& from, const std::string& to);
// Writes all of it, in as many calls as it takes; `written` is right after a failure too.
DWORD write_all(int descriptor, const void* data, size_t size, size_t& written);

}  // namespace winapi
