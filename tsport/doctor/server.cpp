#include "tsport/doctor/server.h"

#include <algorithm>
#include <set>

#include "host/sha256.h"
#include "tsport/answer.h"
#include "tsport/doctor/base.h"
#include "tsport/doctor/binary.h"
#include "tsport/doctor/platform.h"
#include "tsport/file.h"
#include "tsport/ports/check.h"
#include "tsport/registry.h"
#include "winportmon/contract/names.h"

namespace tsport::doctor {
namespace {

// The library's sum of lines "SUM  NAME"; nothing when it is not among them.
std::string listed_sum(const std::string& sums) {
    const size_t name = sums.find("  " MONITOR_LIBRARY);
    const size_t begin = sums.rfind('\n', name) + 1;
    return name != std::string::npos ? sums.substr(begin, name - begin) : "";
}

}  // namespace

bool check_registration(HKEY hive, Findings& findings) {
    const RegistryKey key(hive, contract::kMonitorKey);
    const std::string name = "HKLM\\" + host::to_utf8(contract::kMonitorKey);
    Text driver;
    if (!key.is_open() || !key.read_text(contract::kDriverValue, driver)) {
        findings.add("monitor.not-registered",
                     name + (key.is_open() ? " has no text value Driver" : " does not exist"));
        return false;
    }
    if (same_name(driver, contract::kMonitorLibrary)) return true;
    findings.add("monitor.other-driver", "Driver of " + name + " is \"" + shown(driver) + "\"");
    return false;
}

void check_protected_print(HKEY hive, Findings& findings) {
    const Text path = W("SOFTWARE\\Policies\\Microsoft\\Windows NT\\Printers\\WPP");
    const RegistryKey key(hive, path);
    // The second one is what the group policy asks for.
    for (const WCHAR* const name : {W("WindowsProtectedPrintMode"), W("WindowsProtectedPrintGroupPolicyState")}) {
        DWORD mode = 0;
        if (!key.read_number(name, mode) || mode == 0) continue;
        findings.add("monitor.protected-print",
                     host::to_utf8(name) + " below HKLM\\" + host::to_utf8(path) + " is " + std::to_string(mode));
    }
}

void check_library(const Installed& installed, Findings& findings) {
    std::string bytes;
    std::string why;
    if (!exists(installed.path)) return findings.add("monitor.no-library", installed.path + " does not exist");
    if (!read_file(installed.path, bytes, why)) return findings.skipped("monitor", why);
    const LibraryFile library = read_library(bytes);
    if (!library.is_library) return findings.add("monitor.damaged", installed.path + " is not a complete library");
    if (library.machine != machine_x64) {
        return findings.add("monitor.not-x64", installed.path + " is built for another processor");
    }
    const std::string sum = host::sha256(bytes);
    const std::string expected = listed_sum(installed.sums);
    if (library.version != PROGRAM_VERSION) {
        findings.add("monitor.other-version", installed.path + " has the version " +
                                                  (library.version.empty() ? "(none)" : library.version) +
                                                  ", this program " + PROGRAM_VERSION);
    } else if (!expected.empty() && expected != sum) {
        findings.add("monitor.other-sum", installed.path + " is not the package's: SHA-256 " + sum);
    }
    for (const std::string& import : library.imports) {
        const bool part_of_windows = import.starts_with("api-ms-") || import.starts_with("ext-ms-");
        if (installed.system_directory.empty() || part_of_windows) continue;
        if (exists(installed.system_directory + "/" + import)) continue;
        findings.add("monitor.missing-import", installed.path + " needs " + import + ", which does not exist");
    }
    findings.saw("monitor", installed.path + ": version " + library.version + ", SHA-256 " + sum +
                                (!expected.empty() ? "" : " (no SHA256SUMS of the package to compare with)"));
}

void check_spooler(const Spooler& spooler, bool registered, Findings& findings) {
    const Service service = spooler_service();
    if (service == Service::missing)
        return findings.add("spooler.missing", "this machine has no print spooler service");
    if (service == Service::stopped) return findings.add("spooler.stopped", "the print spooler is not running");
    if (service == Service::disabled) {
        return findings.add("spooler.disabled", "the print spooler is stopped, and its start is disabled");
    }
    if (service == Service::unknown) findings.skipped("spooler", "the state of the service cannot be queried");
    std::vector<Text> names;
    if (const DWORD error = spooler.monitors(names)) {
        return findings.skipped("spooler", "it does not answer: " + host::error_message(error));
    }
    const bool loaded = std::any_of(names.begin(), names.end(),
                                    [](const Text& name) { return same_name(name, contract::kMonitorName); });
    if (registered && !loaded && !findings.has("monitor")) {
        findings.add("spooler.not-loaded", "the monitor is registered, and the spooler has not loaded it");
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
            findings.add("provider.long-path", "InstallPath below HKLM\\" + host::to_utf8(places[i]) + " is too long");
        }
    }
    const Text& path = found[0].empty() ? found[1] : found[0];
    if (path.empty()) {
        findings.add("provider.not-registered", "there is no InstallPath below HKLM\\" + host::to_utf8(places[0]) +
                                                    " or HKLM\\" + host::to_utf8(places[1]));
        return "";
    }
    if (!found[0].empty() && !found[1].empty() && !same_name(found[0], found[1])) {
        findings.add("provider.two-places", "the Print Provider is registered at two places: " + shown(found[0]) +
                                                ", which is used, and " + shown(found[1]));
    }
    const std::string base = host::to_utf8(path) + BASE_FOLDER;
    if (!is_directory(base)) {
        findings.add("provider.no-base", base + " is not a directory");
        return "";
    }
    findings.saw("provider", base);
    return base;
}

std::string find_own_base(std::string& why) {
    Findings findings;
    const std::string base = find_base(HKEY_LOCAL_MACHINE, findings);
    if (base.empty()) {
        why = "no log was named, and " + findings.all().front().places.front().found +
              "; name the log or the folder that it lies in";
    }
    return base;
}

// -- Queues ----------------------------------------------------------------------------------------------------------

void check_queues(const SpoolerView& view, const std::vector<Port>& stored, Findings& findings) {
    std::set<Text, NameOrder> listed;
    std::set<Text, NameOrder> kept;
    std::set<Text, NameOrder> ours;  // stored or listed
    std::set<Text, NameOrder> used;
    size_t count = 0;
    for (const SpoolerPort& port : view.ports) {
        listed.insert(port.name);
        if (same_name(port.monitor, contract::kMonitorName)) ours.insert(port.name), ++count;
    }
    for (const Port& port : stored) kept.insert(port.name);
    ours.insert(kept.begin(), kept.end());
    const auto add = [&](const char* id, const std::string& found, const Text& port) {
        findings.add(id, found, host::to_utf8(port));
    };
    const auto is_skipped = [&](const Text& port) { return findings.has("ports.not-loaded", host::to_utf8(port)); };
    for (const Queue& queue : view.queues) {
        for (const Text& port : queue.ports) {
            used.insert(port);
            if (port.empty() || listed.contains(port) || ours.contains(port) || is_skipped(port)) continue;
            add("queues.port-gone",
                "the queue " + named(queue.name) + " prints to " + named(port) + ", which does not exist", port);
        }
    }
    // Without the monitor the spooler has none of its ports.
    const bool loaded = !findings.has("spooler") && !findings.has("monitor");
    for (const Text& name : ours) {
        const std::string port = "the port " + named(name);
        if (!kept.contains(name) && !is_skipped(name)) add("ports.not-stored", port + " is not stored", name);
        if (!listed.contains(name) || view.not_opened.contains(name)) {
            if (loaded) add("ports.unknown-to-spooler", "the spooler does not know " + port, name);
        } else if (!used.contains(name)) {
            add("queues.no-queue", "no queue prints to " + port, name);
        }
    }
    findings.saw("queues", counted(view.queues.size(), "queue") + ", " + counted(count, "port") + " of this monitor");
}

void check_queues(const Spooler& spooler, const std::vector<Port>& stored, Findings& findings) {
    if (!findings.wants("queues") && !findings.wants("ports")) return;
    SpoolerView view;
    DWORD error = spooler.queues(view.queues);
    if (error == ERROR_SUCCESS) error = spooler.ports(view.ports);
    if (error != ERROR_SUCCESS) {
        return findings.skipped("queues", "the spooler does not answer: " + host::error_message(error));
    }
    // One that a queue has got is known.
    std::set<Text, NameOrder> used;
    for (const Queue& queue : view.queues) used.insert(queue.ports.begin(), queue.ports.end());
    std::vector<Text> asked;
    for (const SpoolerPort& port : view.ports) {
        if (same_name(port.monitor, contract::kMonitorName) && used.count(port.name) == 0) asked.push_back(port.name);
    }
    std::vector<char> unknown(asked.size());
    for_each_at_once(asked.size(),
                     [&](size_t at) { unknown[at] = Spooler(spooler.server()).is_unknown(asked[at]) ? 1 : 0; });
    for (size_t i = 0; i < asked.size(); ++i) {
        if (unknown[i] != 0) view.not_opened.insert(asked[i]);
    }
    check_queues(view, stored, findings);
}

}  // namespace tsport::doctor
