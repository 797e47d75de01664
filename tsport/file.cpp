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

// Why it failed; empty when it did not.
std::string write_stream(const std::string& path, const std::string& contents) {
    errno = 0;
    std::FILE* const stream = open_stream(path, "wb");
    if (stream == nullptr) return reason(errno);
    const bool written =
        std::fwrite(contents.data(), 1, contents.size(), stream) == contents.size() && flush_to_disk(stream);
    const int error = errno;
    const bool closed = std::fclose(stream) == 0;
    return written && closed ? "" : reason(written ? errno : error);
}

// Why the file must not be replaced; empty when nothing is in the way.
std::string replacement_fault(const std::string& path) {
    std::error_code error;
    const fs::path place = host::path_of(path);
    const fs::file_status status = fs::status(place, error);
    if (!fs::exists(status)) return "";
    // The other name would keep the old contents, and a lock by one name does not hold for the other.
    if (fs::hard_link_count(place, error) > 1) return "it has several names (hard links); give it a single one";
    constexpr fs::perms any_write = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    if ((status.permissions() & any_write) == fs::perms::none) return reason(EACCES);
    std::FILE* const stream = open_stream(path, "r+b");
    if (stream == nullptr) return reason(errno);
    std::fclose(stream);
    return "";
}

std::string replace(const std::string& target, const std::string& contents) {
    std::string cause = replacement_fault(target);
    if (!cause.empty()) return cause;
    const std::string fresh = target + "." + std::to_string(std::random_device()()) + ".new";
    cause = write_stream(fresh, contents);
    if (cause.empty() && replace_file(fresh, target, cause)) return "";
    std::error_code error;
    fs::remove(host::path_of(fresh), error);
    return cause;
}

}  // namespace

bool read_file(const std::string& path, std::string& contents, std::string& why) {
    errno = 0;
    contents.clear();
    std::error_code error;
    const bool is_folder = fs::is_directory(host::path_of(path), error);
    std::FILE* const stream = is_file(path) ? open_stream(path, "rb") : nullptr;
    if (stream == nullptr) {
        const std::string cause = is_folder       ? "it is a folder"
                                  : is_file(path) ? reason(errno)
                                                  : "it is no ordinary file";
        return host::refuse(why, cannot(path, "read", cause));
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
    const std::string cause = is_file(target) ? replace(target, contents) : write_stream(target, contents);
    if (!cause.empty()) why = cannot(path, "written", cause);
    return cause.empty();
}

std::string behind_links(const std::string& path) {
    std::error_code error;
    fs::path place = host::path_of(path);
    for (int links = 0; links < 40 && fs::is_symlink(fs::symlink_status(place, error)); ++links) {
        place = place.parent_path() / fs::read_symlink(place, error);
    }
    return host::utf8_of(place);
}

bool is_there(const std::string& path) {
    std::error_code error;
    return fs::exists(host::path_of(path), error);
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
        const FileLock::Result result = lock.try_take(behind_links(path), cause);
        if (result == FileLock::Result::taken) return true;
        why = cannot(path, "locked", cause);
        if (result == FileLock::Result::failed) return false;
        if (std::chrono::steady_clock::now() >= end) break;
        std::this_thread::sleep_for(pause);
    }
    why = "another process is changing " + path + ", and did not finish within " +
          std::to_string(limit.count() / 1000) + " s; try again, or wait longer with --wait SECONDS";
    return false;
}

}  // namespace tsport
