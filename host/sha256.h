// SHA-256 (FIPS 180-4).
#pragma once

#include <string>
#include <string_view>

namespace host {

// The digest in lower-case hexadecimal.
std::string sha256(std::string_view data);

}  // namespace host
