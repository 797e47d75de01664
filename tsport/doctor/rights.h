// Access rights on the files and directories that the monitor uses.
#pragma once

#include "tsport/doctor/base.h"
#include "tsport/doctor/platform.h"

namespace tsport::doctor {

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

// On the print server itself.
void check_rights(const BaseDirectory& base, const Settings& settings, const std::vector<Directory>& directories,
                  Findings& findings);

}  // namespace tsport::doctor
