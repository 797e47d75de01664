// The names by which the outside knows the monitor. packaging/ reads those from here that are defined as plain texts.
#pragma once

#include "winapi/winapi.h"

#define MONITOR_NAME "Tessaron TCP/IP Port"
#define MONITOR_LIBRARY "tsprintportmon.dll"
#define DIALOGS_LIBRARY "tsprintportmonui.dll"
#define MONITORS_KEY "SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors"
// Where the Print Provider's installer leaves its path, in the order of looking; and the base folder behind that path.
#define INSTALL_PATH_KEY "SOFTWARE\\Wow6432Node\\ts-print-provider"
#define SECOND_INSTALL_PATH_KEY "SOFTWARE\\Wow6432Node\\Tessaron"
#define BASE_FOLDER "\\providers\\print\\win"

#define CONTRACT_WIDE(text) W(text)  // of a macro's text

namespace contract {

inline constexpr WCHAR kMonitorName[] = CONTRACT_WIDE(MONITOR_NAME);
inline constexpr WCHAR kMonitorLibrary[] = CONTRACT_WIDE(MONITOR_LIBRARY);
inline constexpr WCHAR kDialogsLibrary[] = CONTRACT_WIDE(DIALOGS_LIBRARY);  // where the monitor runs

// -- Registry, below HKEY_LOCAL_MACHINE ------------------------------------------------------------------------------

inline constexpr WCHAR kMonitorKey[] = CONTRACT_WIDE(MONITORS_KEY) W("\\") CONTRACT_WIDE(MONITOR_NAME);
inline constexpr WCHAR kDriverValue[] = W("Driver");  // of the monitor's key: its library
// Below the monitor's key, which the spooler gives as the root: this key, in it one for each port by its name, and in
// that one the printer's address (REG_SZ, the whole field of a PortConfig) and its TCP port (REG_DWORD).
inline constexpr WCHAR kPortsKey[] = W("Ports");
inline constexpr WCHAR kHostNameValue[] = W("HostName");
inline constexpr WCHAR kPortNumberValue[] = W("PortNumber");

inline constexpr const WCHAR* kInstallPathKeys[] = {
    CONTRACT_WIDE(INSTALL_PATH_KEY),
    CONTRACT_WIDE(SECOND_INSTALL_PATH_KEY),
};
inline constexpr WCHAR kInstallPathValue[] = W("InstallPath");

// -- Files; those that common/ reads and writes are named in common/file_names.h -------------------------------------

inline constexpr WCHAR kHelperFileName[] = W("ts-print-monitor.exe");  // in the base folder

// -- Commands of the configuration channel ---------------------------------------------------------------------------

inline constexpr WCHAR kMonitorUi[] = W("MonitorUI");            // gives kDialogsLibrary
inline constexpr WCHAR kAddPort[] = W("TSAddPort");              // takes a PortConfig
inline constexpr WCHAR kConfigPort[] = W("TSConfigPort");        // takes a PortConfig
inline constexpr WCHAR kGetConfigInfo[] = W("TSGetConfigInfo");  // gives the PortConfig of the handle's port
inline constexpr WCHAR kDeletePort[] = W("TSDeletePort");        // takes a name
inline constexpr WCHAR kPortExists[] = W("TSPortExists");        // takes a name; 0: no, ERROR_ALREADY_EXISTS: yes
inline constexpr WCHAR kPortIsValid[] = W("TSPortIsValid");      // takes a PortConfig; ERROR_INVALID_FUNCTION: no

}  // namespace contract
