#include "tsport/platform.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace tsport {

// The whole registry belongs to the process.
HKEY private_hive() {
    return HKEY_LOCAL_MACHINE;
}

const char* installing_hint() {
    return "there is no print spooler on this system; work on a file of ports with --store FILE";
}

size_t most_sockets() {
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::max(limit.rlim_cur, std::min<rlim_t>(limit.rlim_max, 20'000));
    setrlimit(RLIMIT_NOFILE, &limit);
    return limit.rlim_cur - std::min<rlim_t>(limit.rlim_cur / 2, 200);
}

bool is_device_name(const std::string&) {
    return false;
}

std::FILE* open_stream(const std::string& path, const char* mode) {
    return std::fopen(path.c_str(), mode);
}

bool read_part(const std::string& path, std::uint64_t offset, size_t most, std::string& bytes, std::string& why) {
    bytes.resize(most);
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t count = file < 0 ? -1 : pread(file, bytes.data(), most, static_cast<off_t>(offset));
    why = path + ": " + std::strerror(errno);
    if (file >= 0) close(file);
    bytes.resize(count < 0 ? 0 : static_cast<size_t>(count));
    return count >= 0;
}

void use_escape_sequences() {}

bool flush_to_disk(std::FILE* stream) {
    if (std::fflush(stream) != 0) return false;
    return fsync(fileno(stream)) == 0 || errno == EINVAL;  // EINVAL: nothing that could be on a disk
}

bool replace_file(const std::string& fresh, const std::string& target, std::string& why) {
    struct stat before {};
    if (stat(target.c_str(), &before) == 0) {
        // Only root can give a file away; for all others the owner is their own already.
        if (chown(fresh.c_str(), before.st_uid, before.st_gid) != 0) errno = 0;
        if (chmod(fresh.c_str(), before.st_mode & 07777) != 0) errno = 0;
    }
    if (std::rename(fresh.c_str(), target.c_str()) == 0) return true;
    why = std::strerror(errno);
    return false;
}

FileLock::~FileLock() {
    if (handle_ < 0) return;
    unlink(path_.c_str());
    close(static_cast<int>(handle_));
}

FileLock::Result FileLock::try_take(const std::string& path, std::string& why) {
    path_ = path + ".lock";
    const int file = open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0666);
    struct stat mine {};
    if (file < 0 || fstat(file, &mine) != 0 || !S_ISREG(mine.st_mode) || mine.st_size != 0 || mine.st_nlink > 1) {
        why = file >= 0 || errno == ELOOP ? path_ + kForeignLock : std::strerror(errno);
        if (file >= 0) close(file);
        return Result::failed;
    }
    struct stat now {};
    // When the previous holder has removed the file, this lock excludes nobody.
    if (flock(file, LOCK_EX | LOCK_NB) != 0 || lstat(path_.c_str(), &now) != 0 || mine.st_ino != now.st_ino ||
        mine.st_dev != now.st_dev) {
        close(file);
        return Result::busy;
    }
    handle_ = file;
    return Result::taken;
}

}  // namespace tsport
