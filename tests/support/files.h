// Files of a test, by the paths of the platform that it runs on.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace test {

namespace fs = std::filesystem;

inline fs::path path_of(const std::string& utf8) {
    return std::u8string(utf8.begin(), utf8.end());
}
inline std::string utf8_of(const fs::path& path) {
    const std::u8string text = path.generic_u8string();
    return {text.begin(), text.end()};
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

}  // namespace test
