// A base directory: its settings, the directories that they name, the helper program, the log, and the rights on all
// of them.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/global.h"
#include "tsport/doctor/findings.h"
#include "tsport/doctor/platform.h"
#include "tsport/report/log_line.h"

namespace tsport::doctor {

struct BaseDirectory {
    std::string path;
    bool copied = false;  // from another server: nothing outside of it can be checked here

    // A path as the server has it; of a copy, whose place there is unknown, the part below the base directory.
    std::string on_server(const std::string& path_here) const;
};

// A file of a folder, with the separator that the folder's path has itself.
std::string path_in(const std::string& folder, const std::string& name);
// What is at a path; false as well when the system does not tell.
bool exists(const std::string& path);
bool is_directory(const std::string& path);

// print-provider.conf and env-version, read as the monitor reads them.
struct Settings {
    // As the monitor has them once it has read the files, directories included.
    std::unique_ptr<SessionContext> values;
    bool read = false;  // print-provider.conf was

    Settings();
};

// `bytes` of print-provider.conf into the settings. Directories are not derived yet.
void read_conf(const std::string& bytes, Settings& settings, Findings& findings);
// The same of env-version.
void read_env_version(const std::string& bytes, Settings& settings, Findings& findings);

// Both files of a base directory, and the directories that follow from them.
Settings check_settings(const std::string& base, Findings& findings);

// A directory of the settings, what it is for, and the finding when it does not exist.
struct Directory {
    const char* missing_id;
    const char* purpose;
    const char* lost;   // when users cannot read it; null: they need not
    std::string path;   // as the monitor has it
    bool seen = false;  // it exists and was checked
};

// The directories the monitor reads or writes, those that exist marked.
std::vector<Directory> check_directories(const BaseDirectory& base, const Settings& settings, Findings& findings);

void check_helper(const BaseDirectory& base, Findings& findings);

// Whether the log can be written and rotated, and the errors of its last day, which ends `now` or with the last line.
void check_log(const BaseDirectory& base, const Settings& settings, std::optional<report::Timestamp> now,
               Findings& findings);

// -- Access rights; on the print server itself -----------------------------------------------------------------------

// The part of `mask` that every user who has signed in has, and that the system account has.
std::uint32_t rights_of_users(const AccessList& access, std::uint32_t mask);
std::uint32_t rights_of_system(const AccessList& access, std::uint32_t mask);

constexpr std::uint32_t right_to_read = 0x1 | 0x80;  // contents or entries, attributes
constexpr std::uint32_t right_to_see = 0x80;
// Write and append, or create files and folders; delete entries, delete, change the rights, take ownership.
constexpr std::uint32_t rights_to_change = 0x2 | 0x4 | 0x40 | 0x10000 | 0x40000 | 0x80000;
constexpr std::uint32_t rights_to_write = 0x2 | 0x4;
constexpr std::uint32_t right_to_create_files = 0x2;

// The places that Windows would try before the helper's own path, which is passed without quotes: "C:\Program.exe" for
// "C:\Program Files\...".
std::vector<std::string> shadowing_paths(const std::string& helper);

void check_rights(const BaseDirectory& base, const Settings& settings, const std::vector<Directory>& directories,
                  Findings& findings);

}  // namespace tsport::doctor
