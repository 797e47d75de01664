// The headers of a Windows library file, and the functions in the symbol file (.pdb) that the linker wrote beside it.
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

// The name of the function that an address of the loaded library lies in, relative to its start; "" when the file,
// which may hold any bytes, does not say. What the file holds: LLVM's description of the PDB format.
std::string function_at(const std::string& pdb, std::uint32_t address);

}  // namespace tsport::doctor
