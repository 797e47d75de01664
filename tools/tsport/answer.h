// What a verb gets and how it answers.
#pragma once

#include "tools/tsport/arguments.h"
#include "tools/tsport/channel.h"
#include "tools/tsport/verbs.h"

namespace tsport {

struct Task {
    const Command& command;
    Channel& channel;
    Answer& answer;

    // For people, or for scripts when these were asked for; a line end is added.
    void say(const std::string& words, const std::string& json) const {
        answer.out += (command.json ? json : words) + "\n";
    }
    // Ends the verb with this status; `code` is the Win32 code behind it, if there is one.
    void fail(Status status, const std::string& words, DWORD code = 0) const;
    // The same when `code` is an error: the spooler would not `deed` ("add the port ...").
    bool failed(DWORD code, const std::string& deed) const;
    // After a change; false when it will not last.
    bool kept() const;
};

// export, import and diff.
void export_ports(const Task& task);
void import_ports(const Task& task);
void diff_ports(const Task& task);

// report, with the words behind it.
Answer report_logs(const std::vector<std::string>& words);

}  // namespace tsport
