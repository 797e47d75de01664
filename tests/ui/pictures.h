// Pictures of the dialogs for the documents.
#pragma once

#include <string>

#include "tests/ui/dialogs.h"

namespace ui {

// Where they go; empty when none are wanted.
extern std::string pictures_folder;

}  // namespace ui
