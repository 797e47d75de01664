// The monitor in the spooler, its library, and the Print Provider's places in the registry.
#pragma once

#include "tsport/doctor/findings.h"
#include "tsport/spooler.h"

namespace tsport::doctor {

// "SYSTEM\...\Monitors\Tessaron TCP/IP Port", below HKEY_LOCAL_MACHINE on a server.
Text monitor_key();

// False when the monitor is not registered.
bool check_registration(HKEY hive, Findings& findings);
void check_protected_print(HKEY hive, Findings& findings);

struct Installed {
    std::string path;              // of the library
    std::string system_directory;  // where its imports have to be; empty: they are not looked for
    std::string sums;              // the package's SHA256SUMS; empty: there is none to compare with
};
void check_library(const Installed& installed, Findings& findings);

// The spooler's service, and whether it has loaded the monitor.
void check_spooler(const Spooler& spooler, bool registered, Findings& findings);

// The base directory that the monitor will use; empty when it finds none.
std::string find_base(HKEY hive, Findings& findings);

}  // namespace tsport::doctor
