// Files of a test, by the paths of the platform that it runs on.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "host/text.h"

namespace test {

namespace fs = std::filesystem;

using host::path_of;
using host::utf8_of;

// A path in the sources, given on the drive that programs for Windows see them on.
inline fs::path source_path(std::string path) {
    if (!fs::exists(path_of(path))) path.erase(0, 2);
    return path_of(path);
}

inline bool write_file(const fs::path& path, const std::string& contents) {
    return static_cast<bool>((std::ofstream(path, std::ios::binary) << contents).flush());
}
// Empty when there is none.
inline std::string read_file(const fs::path& path) {
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}
// The lines of a text, the last one ended or not; without "\n".
inline std::vector<std::string> split_lines(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

}  // namespace test
