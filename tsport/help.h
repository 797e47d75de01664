// What --help prints.
#pragma once

#include <string>

namespace tsport {

std::string general_help();

// Of each verb.
extern const char list_help[];
extern const char show_help[];
extern const char add_help[];
extern const char set_help[];
extern const char delete_help[];
extern const char test_help[];
extern const char exists_help[];
extern const char export_help[];
extern const char import_help[];
extern const char diff_help[];
extern const char completion_help[];
extern const char report_help[];

}  // namespace tsport
