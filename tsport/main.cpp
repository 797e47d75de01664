// Manages the monitor's ports from the command line.
#include <cstdio>

#include "host/platform.h"
#include "tsport/output.h"
#include "tsport/run.h"

int main(int count, char** arguments) {
    const host::Utf8Console utf8;
    std::ios::sync_with_stdio(false);  // logs on standard input are read in blocks
    const tsport::Console console{.input = std::cin,
                                  .progress = host::is_terminal(stderr) ? stderr : nullptr,
                                  .width = host::terminal_width(stdout)};
    const tsport::Answer answer = tsport::run(host::program_arguments(count, arguments), console);
    for (const auto& [text, stream] : {std::pair{answer.out, stdout}, {answer.err, stderr}}) {
        std::fputs((host::is_terminal(stream) ? tsport::for_terminal(text) : text).c_str(), stream);
    }
    return std::fflush(stdout) == 0 ? answer.status : static_cast<int>(tsport::refused);
}
