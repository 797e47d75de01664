// A helper program that gives a job back as it is, with as little work as a copy takes. It holds the start of a
// document as long as a file "hold" lies beside it.
#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "testbed/helper/platform.h"

namespace {

bool put(const char* data, size_t size) {
    return std::fwrite(data, 1, size, stdout) == size;
}

bool copy(const std::string& path) {
    std::FILE* const file = std::fopen(helper::path_from_monitor(path).string().c_str(), "rb");
    if (file == nullptr) return false;
    std::setvbuf(file, nullptr, _IONBF, 0);
    std::vector<char> buffer(128 * 1024);  // as cat has it
    for (size_t count = 0; (count = std::fread(buffer.data(), 1, buffer.size(), file)) > 0;) {
        if (!put(buffer.data(), count)) return false;
    }
    std::fclose(file);
    return true;
}

// False when the monitor has gone.
bool hold() {
    const std::filesystem::path sign = helper::own_path().parent_path() / "hold";
    std::string answer;
    if (!put("WAIT ERROR=\"Door Open\"\n", 23) || !std::getline(std::cin, answer)) return false;
    while (std::filesystem::exists(sign)) std::this_thread::sleep_for(std::chrono::milliseconds(500));
    return true;
}

}  // namespace

int main() {
    helper::prepare_streams();
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    std::string spool_file;
    for (std::string line; std::getline(std::cin, line);) {
        if (line == "startdoc" && !hold()) return 1;
        if (line.starts_with("spoolfile=")) spool_file = line.substr(line.find('=') + 1);
        if (!put("OK\n", 3)) return 1;
        if (line != "forceattr") continue;
        // The monitor takes an answer from one read: job data comes only when it has done so.
        helper::wait_until_output_is_read();
        return copy(spool_file) ? 0 : 1;
    }
    return 0;
}
