// A base directory: the helper program, and the directories that the settings name.
#pragma once

#include <string>
#include <vector>

#include "tsport/doctor/conf.h"

namespace tsport::doctor {

struct BaseDirectory {
    std::string path;
    bool copied = false;  // from another server: nothing outside of it can be checked here
};

// A directory of the settings, what it is for, and the finding when it does not exist.
struct Directory {
    const char* missing_id;
    const char* purpose;
    std::string path;   // as the monitor has it
    std::string local;  // the same for functions of this machine
    bool seen = false;  // it exists and was checked
};

// The directories the monitor reads or writes, those that exist marked.
std::vector<Directory> check_directories(const BaseDirectory& base, const Settings& settings, Findings& findings);

std::string helper_path(const BaseDirectory& base);
void check_helper(const BaseDirectory& base, Findings& findings);

}  // namespace tsport::doctor
