// The sample helper program for tests and the bench: the monitor starts it for a printer that is checked, or for a job
// whose attributes are forced. It answers as "ts-print-monitor.script" in its own folder says (script.h), OK to
// everything when there is none, and leaves a transcript (conversation.h).
#include "host/command_line/options.h"
#include "testbed/helper/conversation.h"
#include "testbed/helper/platform.h"

namespace {

const char usage[] = R"(ts-print-monitor - a sample helper program for the port monitor

usage: ts-print-monitor

The monitor starts it without arguments and talks to it through its standard streams. What it answers stands in
ts-print-monitor.script beside it; without one it answers OK to everything.

  --version       the version
  -h, --help, /?  this text

Exit status: 0 the conversation has ended, 2 the line or the script is wrong.
)";

}  // namespace

int main(int count, char** arguments) {
    // The monitor hands over its path without quotes; what of it arrives as arguments says nothing.
    const command_line::Words words(arguments + 1, arguments + count);
    if (count == 2) {
        int status = 0;
        const command_line::Program program = {"ts-print-monitor", usage, {}};
        if (!command_line::operands_of(program, words, status)) return status;
    }
    helper::prepare_streams();
    return helper::Conversation(helper::own_path().parent_path()).run();
}
