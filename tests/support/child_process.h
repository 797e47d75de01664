// Programs that a test starts.
#pragma once

#include <string>

#include "winapi/winapi.h"

namespace test {

struct Ended {
    std::string output;  // of both streams, without carriage returns; "error N" when it did not start
    DWORD status = 0;
};
// Runs a command line; the program gets no input.
Ended run_child(std::basic_string<WCHAR> command);

}  // namespace test
