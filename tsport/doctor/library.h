// The headers of a Windows library file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tsport::doctor {

struct LibraryFile {
    bool is_library = false;  // the headers are complete
    std::uint16_t machine = 0;
    std::string version;               // "1.0.0", or nothing
    std::vector<std::string> imports;  // names of libraries
};
constexpr std::uint16_t machine_x64 = 0x8664;

// Accepts arbitrary bytes.
LibraryFile read_library(const std::string& bytes);

}  // namespace tsport::doctor
