// A child process with pipes at its standard input and output, for process tests.
#pragma once

#include <string>

#include "winapi/winapi.h"

namespace test {

using WideString = std::basic_string<WCHAR>;

struct Child {
    HANDLE process = nullptr;
    HANDLE input = nullptr;   // the write end of its standard input
    HANDLE output = nullptr;  // the read end of its standard output
    DWORD error = 0;          // why it was not started; everything else is null then
};

// The command line that starts tests/support/child with these arguments.
WideString child_command(const WideString& arguments);
Child start_child(WideString command);
void close_child(Child& child);

bool write_text(HANDLE file, const std::string& text);
// Everything up to the end, and the last error there.
std::string read_to_end(HANDLE file, DWORD& error);
struct Ended {
    std::string output;  // of both streams, without carriage returns; "error N" when it did not start
    DWORD status = 0;
};
// Runs a program that gets no input.
Ended run_child(const WideString& command);

}  // namespace test
