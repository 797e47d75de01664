#include "tsport/ports/hosted.h"

#include <filesystem>
#include <random>

#include "host/platform.h"
#include "host/ports.h"
#include "tsport/platform.h"
#include "winportmon/contract/names.h"

namespace tsport {
namespace {

// A monitor that finds the service's folder logs there and sweeps work files: beside a running spooler that would
// disturb it.
bool is_print_server() {
    for (const LPCWSTR path : contract::kInstallPathKeys) {
        HKEY key = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != ERROR_SUCCESS) continue;
        DWORD size = 0;
        const LSTATUS status = RegQueryValueExW(key, contract::kInstallPathValue, nullptr, nullptr, nullptr, &size);
        RegCloseKey(key);
        if (status == ERROR_SUCCESS) return true;
    }
    return false;
}

// Beside this program, in the folder above, as in the package, or where it is installed; empty when there is none.
std::string own_library() {
    WCHAR system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    const std::string own = host::executable_folder();
    for (const std::string& folder : {own, own + "/..", host::to_utf8(system)}) {
        const std::string path = folder + "/" + host::monitor_file_name();
        std::error_code error;
        if (std::filesystem::exists(host::path_of(path), error)) return path;
    }
    return "";
}

}  // namespace

// -- The store
// ---------------------------------------------------------------------------------------------------------

Store::Store() : path_(W("Software\\tsport-") + host::to_text(std::to_string(std::random_device()()))) {}

Store::~Store() {
    const Text ports = path_ + W("\\") + contract::kPortsKey;
    HKEY key = nullptr;
    if (RegOpenKeyExW(hive(), ports.c_str(), 0, KEY_ALL_ACCESS, &key) == ERROR_SUCCESS) {
        WCHAR name[256];
        for (DWORD size = 256; RegEnumKeyExW(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
             size = 256) {
            if (RegDeleteKeyW(key, name) != ERROR_SUCCESS) break;
        }
        RegCloseKey(key);
    }
    RegDeleteKeyW(hive(), ports.c_str());
    RegDeleteKeyW(hive(), path_.c_str());
}

HKEY Store::hive() const {
    return private_hive();
}

bool Store::write(const std::vector<Port>& ports) const {
    return std::all_of(ports.begin(), ports.end(), [this](const Port& port) {
        return host::store_port(port.name, port.address, port.number, hive(), path_);
    });
}

bool Store::read(std::vector<Port>& ports) const {
    std::vector<contract::PortConfig> stored;
    if (!host::read_stored_ports(stored, hive(), path_)) return false;
    for (const contract::PortConfig& config : stored) ports.push_back(from_config(config));
    return true;
}

// -- The monitor
// -------------------------------------------------------------------------------------------------------

bool Hosted::load(const Options& options, std::string& why) {
    if (is_print_server()) {
        why = "the Print Provider is installed here: a hosted library would work in its folders";
        return false;
    }
    path_ = options.store;
    if (options.for_changes && is_file(path_) && !take_lock(lock_, path_, options.wait, why)) return false;
    std::error_code error;
    file_.csv = has_csv_name(path_);
    if (std::filesystem::exists(host::path_of(path_), error)) {
        why = to_text(read_ports_file(path_, file_.csv, file_), path_);
        if (!why.empty()) return false;
    }
    if (!store_.write(file_.ports())) {
        why = "the ports of " + path_ + " cannot be loaded into the library";
        return false;
    }
    if (!host::use_simulated_spooler(nullptr)) {
        why = "this program cannot be connected to the simulated spooler: " + host::error_message(GetLastError());
        return false;
    }
    library_ = options.library.empty() ? own_library() : options.library;
    why = std::string("the monitor, ") + host::monitor_file_name() +
          ", is not where it is looked for; name it with --library PATH";
    if (library_.empty()) return false;
    return start(why);
}

bool Hosted::start(std::string& why) {
    host::MonitorHost::Options setup;
    setup.library = library_;
    setup.hive = store_.hive();
    setup.registry_path = store_.path();
    return monitor_.load(setup, why);
}

bool Hosted::put(const std::vector<Port>& ports, std::string& why) {
    why = "the ports cannot be loaded into the library";
    monitor_.unload();
    return store_.write(ports) && start(why);
}

bool Hosted::keep(std::string& why) {
    std::vector<Port> ports;
    why = "the library's ports cannot be read back";
    return store_.read(ports) && write_file(path_, format_ports(file_, ports), why);
}

}  // namespace tsport
