#include "tsport/doctor/monitor.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "host/sha256.h"
#include "tsport/doctor/library.h"
#include "tsport/doctor/platform.h"
#include "tsport/doctor/registry.h"
#include "tsport/file.h"
#include "tsport/output.h"
#include "tsport/ports/encoding.h"
#include "winportmon/contract/names.h"

namespace tsport::doctor {
namespace {

constexpr const char* library_name = MONITOR_LIBRARY;
const char install[] = "reinstall the package (README.txt, Installing or updating)";

bool exists(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(host::path_of(path), error);
}

// The library's sum of lines "SUM  NAME"; nothing when it is not among them.
std::string listed_sum(const std::string& sums) {
    for (const Text& line : lines_of(host::to_text(sums))) {
        const std::string text = host::to_utf8(line);
        const size_t name = text.rfind(library_name);
        if (name == std::string::npos || name + std::strlen(library_name) != text.size()) continue;
        return text.substr(0, text.find(' '));
    }
    return "";
}

}  // namespace

Text monitor_key() {
    return contract::kMonitorKey;
}

bool check_registration(HKEY hive, Findings& findings) {
    const RegistryKey key(hive, monitor_key());
    const std::string name = "HKLM\\" + host::to_utf8(monitor_key());
    const std::string command =
        "reg add \"" + name + "\" /v Driver /t REG_SZ /d " + library_name + " /f, then restart the spooler";
    Text driver;
    if (!key.is_open() || !key.read_text(contract::kDriverValue, driver)) {
        findings.add("monitor.not-registered", name + (key.is_open() ? " has no text value Driver" : " does not exist"),
                     command);
        return false;
    }
    if (!same_name(driver, contract::kMonitorLibrary)) {
        findings.add("monitor.other-driver", "Driver of " + name + " is \"" + shown(driver) + "\"", command);
        return false;
    }
    return true;
}

void check_protected_print(HKEY hive, Findings& findings) {
    const Text path = W("SOFTWARE\\Policies\\Microsoft\\Windows NT\\Printers\\WPP");
    DWORD mode = 0;
    if (!RegistryKey(hive, path).read_number(W("WindowsProtectedPrintMode"), mode) || mode == 0) return;
    findings.add("monitor.protected-print",
                 "WindowsProtectedPrintMode below HKLM\\" + host::to_utf8(path) + " is " + std::to_string(mode),
                 "switch Windows protected print mode off (Settings, Printers & scanners, or the group policy "
                 "\"Configure Windows protected print\"), then restart the spooler");
}

void check_library(const Installed& installed, Findings& findings) {
    std::string bytes;
    std::string why;
    if (!exists(installed.path)) {
        findings.add("monitor.no-library", installed.path + " does not exist", install);
        return;
    }
    if (!read_file(installed.path, bytes, why)) {
        findings.skipped("monitor", why);
        return;
    }
    const LibraryFile library = read_library(bytes);
    if (!library.is_library) {
        findings.add("monitor.damaged", installed.path + " is not a complete library", install);
        return;
    }
    if (library.machine != machine_x64) {
        findings.add("monitor.not-x64", installed.path + " is built for another processor", install);
        return;
    }
    const std::string sum = host::sha256(bytes);
    const std::string expected = listed_sum(installed.sums);
    if (library.version != PROGRAM_VERSION) {
        findings.add("monitor.other-version",
                     installed.path + " has the version " + (library.version.empty() ? "(none)" : library.version) +
                         ", this program " + PROGRAM_VERSION,
                     install);
    } else if (!expected.empty() && expected != sum) {
        findings.add("monitor.other-sum", installed.path + " is not the package's: SHA-256 " + sum, install);
    }
    for (const std::string& import : library.imports) {
        const bool part_of_windows = import.rfind("api-ms-", 0) == 0 || import.rfind("ext-ms-", 0) == 0;
        if (installed.system_directory.empty() || part_of_windows) continue;
        if (exists(installed.system_directory + "/" + import)) continue;
        findings.add("monitor.missing-import", installed.path + " needs " + import + ", which does not exist",
                     "repair Windows: sfc /scannow");
    }
    findings.saw("monitor", installed.path + ": version " + library.version + ", SHA-256 " + sum +
                                (!expected.empty() ? "" : " (no SHA256SUMS of the package to compare with)"));
}

void check_spooler(const Spooler& spooler, bool registered, Findings& findings) {
    switch (spooler_service()) {
        case Service::missing:
            findings.add("spooler.missing", "this machine has no print spooler service",
                         "add the role of a print server to this machine");
            return;
        case Service::disabled:
            findings.add("spooler.disabled", "the print spooler is stopped, and its start is disabled",
                         "sc config spooler start= auto, then net start spooler");
            return;
        case Service::stopped:
            findings.add("spooler.stopped", "the print spooler is not running", "net start spooler");
            return;
        case Service::running:
            break;
        case Service::unknown:
            findings.skipped("spooler", "the state of the service cannot be queried");
            break;
    }
    std::vector<Text> names;
    if (const DWORD error = spooler.monitors(names)) {
        findings.skipped("spooler", "it does not answer: " + host::error_message(error));
        return;
    }
    const bool loaded = std::any_of(names.begin(), names.end(),
                                    [](const Text& name) { return same_name(name, contract::kMonitorName); });
    if (registered && !loaded) {
        findings.add("spooler.not-loaded", "the monitor is registered, and the spooler has not loaded it",
                     "net stop spooler /y, net start spooler; if that does not help, see the findings of monitor");
    }
    findings.saw("spooler", counted(names.size(), "monitor"));
}

std::string find_base(HKEY hive, Findings& findings) {
    constexpr DWORD most = 520;  // bytes that the monitor reads
    Text found[2];
    const auto& places = contract::kInstallPathKeys;
    for (size_t i = 0; i < 2; ++i) {
        WCHAR value[most / sizeof(WCHAR) + 1] = {};
        DWORD size = most;
        const DWORD error = RegistryKey(hive, places[i]).read(contract::kInstallPathValue, value, size);
        if (error == ERROR_SUCCESS) found[i] = value;
        if (error == ERROR_MORE_DATA) {
            findings.add("provider.long-path", "InstallPath below HKLM\\" + host::to_utf8(places[i]) + " is too long",
                         "install the Print Provider in a folder with a shorter path");
        }
    }
    const Text& path = found[0].empty() ? found[1] : found[0];
    if (path.empty()) {
        findings.add(
            "provider.not-registered",
            "there is no InstallPath below HKLM\\" + host::to_utf8(places[0]) + " or HKLM\\" + host::to_utf8(places[1]),
            "install the Print Provider, or repair its installation");
        return "";
    }
    if (!found[0].empty() && !found[1].empty() && !same_name(found[0], found[1])) {
        findings.add("provider.two-places",
                     "the Print Provider is registered at two places: " + shown(found[0]) + ", which is used, and " +
                         shown(found[1]),
                     "delete the key of the one that no longer exists below HKLM\\SOFTWARE\\Wow6432Node");
    }
    const std::string base = host::to_utf8(path) + BASE_FOLDER;
    std::error_code error;
    if (!std::filesystem::is_directory(host::path_of(base), error)) {
        findings.add("provider.no-base", base + " is not a directory", "repair the installation of the Print Provider");
        return "";
    }
    findings.saw("provider", base);
    return base;
}

}  // namespace tsport::doctor
