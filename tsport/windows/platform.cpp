#include "tsport/platform.h"

#include <filesystem>

#include "host/text.h"

namespace tsport {
namespace {

HANDLE handle_of(std::intptr_t value) {
    return reinterpret_cast<HANDLE>(value);  // NOLINT(performance-no-int-to-ptr)
}

}  // namespace

HKEY private_hive() {
    return HKEY_CURRENT_USER;
}

const char* installing_hint() {
    return "install it with: msiexec /i tsprintportmon-" PROGRAM_VERSION "-x64.msi";
}

// As many as TCP has ports for connections.
size_t most_sockets() {
    return 16'000;
}

bool is_device_name(const std::string& path) {
    std::error_code error;
    return std::filesystem::absolute(host::path_of(path), error).wstring().starts_with(W("\\\\.\\"));
}

std::FILE* open_stream(const std::string& path, const char* mode) {
    return _wfopen(host::path_of(path).c_str(), host::to_text(mode).c_str());
}

bool read_part(const std::string& path, std::uint64_t offset, size_t most, std::string& bytes, std::string& why) {
    bytes.resize(most);
    DWORD count = 0;
    const HANDLE file =
        CreateFileW(host::path_of(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    LARGE_INTEGER place;
    place.QuadPart = static_cast<LONGLONG>(offset);
    const bool read = file != INVALID_HANDLE_VALUE && SetFilePointerEx(file, place, nullptr, FILE_BEGIN) &&
                      ReadFile(file, bytes.data(), static_cast<DWORD>(most), &count, nullptr);
    why = path + ": " + host::error_message(GetLastError());
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
    bytes.resize(count);
    return read;
}

void use_escape_sequences() {
    DWORD mode = 0;
    const HANDLE console = GetStdHandle(STD_OUTPUT_HANDLE);
    if (GetConsoleMode(console, &mode)) SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

bool flush_to_disk(std::FILE* stream) {
    if (std::fflush(stream) != 0) return false;
    FlushFileBuffers(handle_of(_get_osfhandle(_fileno(stream))));  // refused for what is no disk file
    return true;
}

bool replace_file(const std::string& fresh, const std::string& target, std::string& why) {
    const std::filesystem::path from = host::path_of(fresh);
    const std::filesystem::path to = host::path_of(target);
    if (GetFileAttributesW(to.c_str()) != INVALID_FILE_ATTRIBUTES &&
        ReplaceFileW(to.c_str(), from.c_str(), nullptr, REPLACEFILE_IGNORE_MERGE_ERRORS, nullptr, nullptr)) {
        return true;
    }
    if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) return true;
    why = host::error_message(GetLastError());
    return false;
}

FileLock::~FileLock() {
    if (handle_ == -1) return;
    FILE_DISPOSITION_INFO removed = {TRUE};
    SetFileInformationByHandle(handle_of(handle_), FileDispositionInfo, &removed, sizeof removed);
    CloseHandle(handle_of(handle_));
}

FileLock::Result FileLock::try_take(const std::string& path, std::string& why) {
    path_ = path + ".lock";
    const HANDLE file = CreateFileW(host::path_of(path_).c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, 0, nullptr,
                                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        BY_HANDLE_FILE_INFORMATION found = {};
        const bool known = GetFileInformationByHandle(file, &found) != FALSE;
        const bool link = (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
        if (known && !link && found.nFileSizeLow == 0 && found.nFileSizeHigh == 0 && found.nNumberOfLinks == 1) {
            handle_ = reinterpret_cast<std::intptr_t>(file);
            return Result::taken;
        }
        CloseHandle(file);
        why = path_ + kForeignLock;
        return Result::failed;
    }
    // While its last holder releases it, access to the file is denied.
    const DWORD error = GetLastError();
    const bool exists = GetFileAttributesW(host::path_of(path_).c_str()) != INVALID_FILE_ATTRIBUTES;
    if (error == ERROR_SHARING_VIOLATION || (error == ERROR_ACCESS_DENIED && exists)) return Result::busy;
    why = host::error_message(error);
    return Result::failed;
}

}  // namespace tsport
