// Manages the monitor's ports from the command line.
#include <cstdio>

#include "tools/tsport/platform.h"
#include "tools/tsport/verbs.h"

int main(int count, char** arguments) {
    const tsport::Utf8Console console;
    const tsport::Answer answer = tsport::run(tsport::program_arguments(count, arguments));
    std::fputs(answer.out.c_str(), stdout);
    std::fputs(answer.err.c_str(), stderr);
    return std::fflush(stdout) == 0 ? answer.status : static_cast<int>(tsport::refused);
}
