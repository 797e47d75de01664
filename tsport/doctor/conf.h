// print-provider.conf and env-version: read as the monitor reads them.
#pragma once

#include <memory>
#include <string>

#include "common/global.h"
#include "tsport/doctor/findings.h"

namespace tsport::doctor {

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

}  // namespace tsport::doctor
