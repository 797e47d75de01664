#include "tools/tsport/platform.h"

#include <shellapi.h>

#include "tools/host/text.h"

namespace tsport {

// The runtime's own arguments are in the machine's code page, which not every name can be written in.
std::vector<std::string> program_arguments(int, char**) {
    std::vector<std::string> texts;
    int count = 0;
    LPWSTR* const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 1; arguments != nullptr && i < count; ++i) texts.push_back(host::to_utf8(arguments[i]));
    LocalFree(arguments);
    return texts;
}

Utf8Console::Utf8Console() : before_(GetConsoleOutputCP()) {
    SetConsoleOutputCP(CP_UTF8);
}
Utf8Console::~Utf8Console() {
    if (before_ != 0) SetConsoleOutputCP(before_);
}

HKEY private_hive() {
    return HKEY_CURRENT_USER;
}

}  // namespace tsport
