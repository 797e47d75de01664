// The functions of a library, from the symbol file (.pdb) that the linker wrote beside it.
#pragma once

#include <cstdint>
#include <string>

namespace tsport::doctor {

// The name of the function that an address of the loaded library lies in, relative to its start; "" when the file,
// which may hold any bytes, does not say. What the file holds: LLVM's description of the PDB format.
std::string function_at(const std::string& pdb, std::uint32_t address);

}  // namespace tsport::doctor
