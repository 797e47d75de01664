// A process of its own that prints: this program, started once more.
#pragma once

#include <string>
#include <vector>

#include "tools/host/text.h"

namespace test {

using host::Text;

// Its jobs' numbers begin at `first`, so that no other process has them.
struct ChildTask {
    DWORD first = 0;
    DWORD rounds = 0;
    std::vector<Text> queues;  // a thread each
};
std::string child_document(const ChildTask& task, const Text& queue, DWORD round);
// The command line that starts a child.
Text command_of(const ChildTask& task);
// Runs in the child. 0 when every document was printed and no handle is left; else it has said why.
int print_as_child(const ChildTask& task);
// False when these are not the arguments of a child.
bool parse_child_arguments(ChildTask& task);

}  // namespace test
