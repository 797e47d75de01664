// What a monitor needs before it is loaded: the Print Provider's folders and settings, its registry key, and the stored
// ports.
#pragma once

#include <string>
#include <vector>

#include "common/file_names.h"
#include "host/text.h"
#include "winportmon/contract/names.h"

namespace host {

// Folders of this machine.
struct BaseFolder {
    std::string install;  // what "InstallPath" names
    std::string base;     // below it: the settings, the log, the helper program, the spool folders

    std::string log() const { return base + "/" + kLogFileName; }
    std::string spool(const std::string& name) const { return base + "/spool/" + name; }
    std::string marker(DWORD job_id) const {
        return spool("notapprovedjobs") + "/" + std::to_string(job_id) + ".notapproved";
    }
};

BaseFolder base_folder(const std::string& install);

// Creates the folders below `install`, which may be there already, and stores "InstallPath". `conf` holds
// lines "KEY=VALUE" for print-provider.conf, appended when the file is there already. False with the reason
// when anything of it fails.
bool set_up_base(const std::string& install, const std::vector<std::string>& conf, BaseFolder& folder,
                 std::string& why);
// An empty folder of its own among the system's temporary files; empty text when there can be none. The
// caller removes it.
std::string make_temporary_folder();

// Stores a port as the monitor does. The address is cut at 128 characters.
bool store_port(const Text& name, const Text& address, DWORD port, HKEY hive = HKEY_LOCAL_MACHINE,
                const Text& monitor_key = contract::kMonitorKey);
bool store_install_path(const Text& path);

}  // namespace host
