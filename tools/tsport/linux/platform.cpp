#include "tools/tsport/platform.h"

namespace tsport {

std::vector<std::string> program_arguments(int count, char** arguments) {
    return std::vector<std::string>(arguments + 1, arguments + count);
}

Utf8Console::Utf8Console() : before_(0) {}
Utf8Console::~Utf8Console() = default;

// The whole registry belongs to the process.
HKEY private_hive() {
    return HKEY_LOCAL_MACHINE;
}

}  // namespace tsport
