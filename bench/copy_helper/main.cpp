// A helper program that returns a job unchanged, with no more work than a copy.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

namespace {

bool put(const char* data, size_t size) {
    while (size > 0) {
        const ssize_t written = write(STDOUT_FILENO, data, size);
        if (written <= 0) return false;
        data += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

// The monitor takes an answer from one read: job data comes only when it has done so.
void wait_until_taken() {
    int bytes = 0;
    while (ioctl(STDOUT_FILENO, FIONREAD, &bytes) == 0 && bytes > 0) std::this_thread::yield();
}

bool copy(std::string path) {
    if (path.starts_with("Z:")) path.erase(0, 2);
    std::replace(path.begin(), path.end(), '\\', '/');
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return false;
    std::vector<char> buffer(128 * 1024);  // as cat has it
    for (ssize_t count = 0; (count = read(file, buffer.data(), buffer.size())) > 0;) {
        if (!put(buffer.data(), static_cast<size_t>(count))) return false;
    }
    close(file);
    return true;
}

}  // namespace

int main() {
    std::string spool_file;
    for (std::string line; std::getline(std::cin, line);) {
        if (line.starts_with("spoolfile=")) spool_file = line.substr(line.find('=') + 1);
        if (!put("OK\n", 3)) return 1;
        if (line != "forceattr") continue;
        wait_until_taken();
        return copy(spool_file) ? 0 : 1;
    }
    return 0;
}
