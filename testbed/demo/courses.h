// The outcomes a document can have in the monitor, each shown and checked.
#pragma once

#include <string>

#include "testbed/demo/stage.h"
#include "testbed/records.h"

namespace demo {

struct File {
    std::string name;
    host::Source source;
};

enum class Arrival { whole, nothing, rewritten };

// An outcome: what is laid out for the document, what reaches the printer, and what the spooler shows.
struct Course {
    const char* title;
    const char* story;
    testbed::DocumentPlan plan;
    host::Result result = host::Result::printed;
    Arrival arrival = Arrival::whole;
    bool is_held = false;  // until the door is shut
};
extern const Course direct, not_approved, held, dropped, forced;

// Print what the document is, what reached the printer and what the spooler showed; true when that is as it should be.
// With a real printer what reached it cannot be checked, and show_lost_printer cannot run.
bool show(Stage& stage, const Course& course, const File& file);
bool show_lost_printer(Stage& stage);

}  // namespace demo
