// What a migration changes, and what it leaves alone.
#pragma once

#include <string>
#include <vector>

#include "tsport/answer.h"

namespace tsport::migrate {

// One queue with the port that it prints to, or a port that no queue prints to.
struct Row {
    Text queue;  // empty: none
    Port from;
    Port to;              // without a name when the port is left alone
    bool add = false;     // `to` is a port that has yet to be added
    std::string reason;   // why it is left alone; empty: it is to be changed
    std::string failure;  // why it could not be changed
    bool changed = false;

    bool is_to_change() const { return reason.empty(); }
    const std::string& why() const { return failure.empty() ? reason : failure; }
};

// From Standard TCP/IP ports to ports of this monitor, or back; false when an error was reported.
bool make_plan(const Task& task, std::vector<Row>& rows);

}  // namespace tsport::migrate
