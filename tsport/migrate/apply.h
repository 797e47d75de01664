// Carries out a migration, and undoes it.
#pragma once

#include "tsport/migrate/journal.h"
#include "tsport/migrate/plan.h"

namespace tsport::migrate {

extern const char kUnknownPort[];  // the failure of a queue whose new port the spooler does not know yet

// Changes what the rows say, each step in the journal before it begins. A queue whose change fails keeps its port, and
// the next one follows, unless the options say to stop; without its journal nothing goes on: returns why it could not
// be written, or nothing.
std::string apply(const Task& task, std::vector<Row>& rows, Journal& journal);

struct Undone {
    Step step;
    std::string reason;  // why it could not be undone; empty: it was, or nothing was left to do
};
// From the last step to the first: queues get their ports back, ports that nothing uses are deleted.
std::vector<Undone> undo(const Task& task, const std::vector<Step>& steps);

}  // namespace tsport::migrate
