#include "tsport/file.h"

#include <cerrno>
#include <filesystem>
#include <random>
#include <system_error>
#include <thread>

#include "host/text.h"

namespace tsport {
namespace {

namespace fs = std::filesystem;

std::string reason(int error) {
    return std::generic_category().message(error != 0 ? error : EIO);
}

std::string cannot(const std::string& path, const char* deed, const std::string& cause) {
    return path + " cannot be " + deed + ": " + cause;
}

// False with errno.
bool write_stream(const std::string& path, const char* mode, const std::string& contents) {
    errno = 0;
    std::FILE* const stream = open_stream(path, mode);
    if (stream == nullptr) return false;
    const bool written =
        std::fwrite(contents.data(), 1, contents.size(), stream) == contents.size() && flush_to_disk(stream);
    const int error = errno;
    const bool closed = std::fclose(stream) == 0;
    if (!written) errno = error;
    return written && closed;
}

// Whether the file, which exists, may be changed; false with errno.
bool is_writable(const std::string& path) {
    std::error_code error;
    constexpr fs::perms any_write = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    errno = EACCES;
    if ((fs::status(host::path_of(path), error).permissions() & any_write) == fs::perms::none) return false;
    std::FILE* const stream = open_stream(path, "r+b");
    if (stream != nullptr) std::fclose(stream);
    return stream != nullptr;
}

// A file with several names keeps them: it is written where it lies, once its new contents are safe in `fresh`.
bool overwrite(const std::string& target, const std::string& contents, std::string& why) {
    std::error_code error;
    if (write_stream(target, "r+b", contents))
        fs::resize_file(host::path_of(target), contents.size(), error);
    else
        error = std::error_code(errno, std::generic_category());
    why = error.message();
    return !error;
}

}  // namespace

bool read_file(const std::string& path, std::string& contents, std::string& why) {
    errno = 0;
    contents.clear();
    std::FILE* const stream = open_stream(path, "rb");
    if (stream == nullptr) {
        why = cannot(path, "read", reason(errno));
        return false;
    }
    char buffer[16384];
    for (size_t count = 0; (count = std::fread(buffer, 1, sizeof buffer, stream)) != 0;) contents.append(buffer, count);
    const bool failed = std::ferror(stream) != 0;
    if (failed) why = cannot(path, "read", reason(errno));
    std::fclose(stream);
    return !failed;
}

bool write_file(const std::string& path, const std::string& contents, std::string& why) {
    const std::string target = behind_links(path);
    if (!is_file(target)) {
        if (write_stream(target, "wb", contents)) return true;
        why = cannot(path, "written", reason(errno));
        return false;
    }
    std::error_code error;
    const bool exists = fs::exists(host::path_of(target), error);
    if (exists && !is_writable(target)) {
        why = cannot(path, "written", reason(errno));
        return false;
    }
    const std::string fresh = target + "." + std::to_string(std::random_device()()) + ".new";
    if (!write_stream(fresh, "wb", contents)) {
        why = cannot(path, "written", reason(errno));
        fs::remove(host::path_of(fresh), error);
        return false;
    }
    const bool shared = exists && fs::hard_link_count(host::path_of(target), error) > 1;
    std::string cause;
    if (shared ? overwrite(target, contents, cause) : replace_file(fresh, target, cause)) {
        if (shared) fs::remove(host::path_of(fresh), error);
        return true;
    }
    why = cannot(path, "written", cause);
    if (shared) why += "; what it should hold is in " + fresh;
    if (!shared) fs::remove(host::path_of(fresh), error);
    return false;
}

std::string behind_links(const std::string& path) {
    std::error_code error;
    fs::path place = host::path_of(path);
    for (int links = 0; links < 40 && fs::is_symlink(fs::symlink_status(place, error)); ++links) {
        place = place.parent_path() / fs::read_symlink(place, error);
    }
    return host::utf8_of(place);
}

bool is_file(const std::string& path) {
    std::error_code error;
    if (is_device_name(path)) return false;
    const fs::file_status status = fs::status(host::path_of(path), error);
    return !fs::exists(status) || fs::is_regular_file(status);
}

bool take_lock(FileLock& lock, const std::string& path, std::chrono::milliseconds limit, std::string& why) {
    constexpr std::chrono::milliseconds pause{10};
    const auto end = std::chrono::steady_clock::now() + limit;
    std::string cause;
    for (;;) {
        switch (lock.try_take(behind_links(path), cause)) {
            case FileLock::Result::taken:
                return true;
            case FileLock::Result::failed:
                why = cannot(path, "locked", cause);
                return false;
            case FileLock::Result::busy:
                break;
        }
        if (std::chrono::steady_clock::now() >= end) break;
        std::this_thread::sleep_for(pause);
    }
    why = "another process is changing " + path + ", and did not finish within " +
          std::to_string(limit.count() / 1000) + " s; try again, or wait longer with --wait SECONDS";
    return false;
}

}  // namespace tsport
