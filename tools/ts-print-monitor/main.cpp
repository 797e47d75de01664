// The sample helper program for tests and the bench: the monitor starts it for a printer that is checked, or for a job
// whose attributes are forced. It answers as "ts-print-monitor.script" in its own folder says (script.h), OK to
// everything when there is none, and leaves a transcript (conversation.h).
#include "tools/ts-print-monitor/conversation.h"
#include "tools/ts-print-monitor/platform.h"

int main() {
    helper::prepare_streams();
    return helper::Conversation(helper::own_path().parent_path()).run();
}
