// The outcomes a document can have in the monitor, each shown and checked.
#pragma once

#include <string>

#include "testbed/demo/stage.h"

namespace demo {

struct File {
    std::string name;
    host::Source source;
};

// Each prints what the document is, what reached the printer and what the spooler showed; true when that is as it
// should be. With a real printer what reached it cannot be checked, and show_lost_printer cannot run.
bool show_direct(Stage& stage, const File& file);
bool show_not_approved(Stage& stage, const File& file);
bool show_held(Stage& stage, const File& file);
bool show_dropped(Stage& stage, const File& file);
bool show_forced_attributes(Stage& stage, const File& file);
bool show_lost_printer(Stage& stage);

}  // namespace demo
