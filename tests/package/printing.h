// A document through the spooler of this process, as a program prints it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/host/text.h"

namespace printing {

using host::Text;

// A call of SetJobW by the monitor, and the spooler's answer.
struct Command {
    DWORD job;
    DWORD level;
    DWORD command;
    BOOL answer;
    bool operator==(const Command&) const = default;
};

struct Outcome {
    DWORD job = 0;      // 0: the spooler has not taken the document
    bool told = false;  // what EndDocPrinter has told the program: whether it was printed
    std::vector<Command> commands;
    bool forgotten = false;  // the spooler knows nothing of the job any more, and its file is gone
};

// `spooled` is called with the job's number when all data is in the spooler's file and nothing of it with the monitor.
Outcome print(const Text& queue, const std::string& data, const std::function<void(DWORD job)>& spooled = {});

// Uses up the spooler's job numbers of this process below `first`: those of processes that print at the same time must
// differ, since files are named by them. False when the queue does not give them.
bool begin_jobs_at(const Text& queue, DWORD first);

}  // namespace printing
