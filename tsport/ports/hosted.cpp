#include "tsport/ports/hosted.h"

#include <algorithm>
#include <random>

#include "host/platform.h"
#include "host/ports.h"
#include "tsport/platform.h"
#include "tsport/registry.h"
#include "tsport/verb.h"
#include "winportmon/contract/names.h"

namespace tsport {
namespace {

// A monitor that finds the service's folder logs there and sweeps work files: beside a running spooler that would
// disturb it.
bool is_print_server() {
    DWORD size = 0;
    return std::any_of(std::begin(contract::kInstallPathKeys), std::end(contract::kInstallPathKeys), [&](LPCWSTR path) {
        const RegistryKey key(HKEY_LOCAL_MACHINE, path);
        return key.read(contract::kInstallPathValue, nullptr, size) == ERROR_SUCCESS;
    });
}

// Beside this program, in the folder above, as in the package, or where it is installed; empty when there is none.
std::string own_library() {
    WCHAR system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    const std::string own = host::executable_folder();
    for (const std::string& folder : {own, own + "/..", host::to_utf8(system)}) {
        const std::string path = folder + "/" + host::monitor_file_name();
        if (is_there(path)) return path;
    }
    return "";
}

}  // namespace

Hosted::Hosted() {
    setup_.hive = private_hive();
    setup_.registry_path = W("Software\\tsport-") + host::to_text(std::to_string(std::random_device()()));
}

Hosted::~Hosted() {
    monitor_.unload();
    const Text ports = setup_.registry_path + W("\\") + contract::kPortsKey;
    for (const Text& name : RegistryKey(setup_.hive, ports).subkeys()) {
        RegDeleteKeyW(setup_.hive, (ports + W("\\") + name).c_str());
    }
    RegDeleteKeyW(setup_.hive, ports.c_str());
    RegDeleteKeyW(setup_.hive, setup_.registry_path.c_str());
}

bool Hosted::write(const std::vector<Port>& ports) const {
    return std::all_of(ports.begin(), ports.end(), [this](const Port& port) {
        return host::store_port(port.name, port.address, port.number, setup_.hive, setup_.registry_path);
    });
}

bool Hosted::read(std::vector<Port>& ports) const {
    std::vector<contract::PortConfig> stored;
    if (!host::read_stored_ports(stored, setup_.hive, setup_.registry_path)) return false;
    for (const contract::PortConfig& config : stored) ports.push_back(from_config(config));
    return true;
}

bool Hosted::load(const Command& command, std::string& why) {
    if (is_print_server()) {
        return host::refuse(why, "the Print Provider is installed here: a hosted library would work in its folders");
    }
    path_ = command.store;
    const bool changes = command.verb->needs == Needs::changing && !command.dry_run;
    const std::chrono::seconds wait(command.wait_seconds);
    if (changes && is_file(path_) && !take_lock(lock_, path_, wait, why)) return false;
    file_.csv = has_csv_name(path_);
    if (is_there(path_)) {
        why = to_text(read_ports_file(path_, file_.csv, file_), path_);
        if (!why.empty()) return false;
    }
    if (!write(file_.ports())) {
        return host::refuse(why, "the ports of " + path_ + " cannot be loaded into the library");
    }
    if (!host::use_simulated_spooler(nullptr)) {
        const std::string error = host::error_message(GetLastError());
        return host::refuse(why, "this program cannot be connected to the simulated spooler: " + error);
    }
    setup_.library = command.library.empty() ? own_library() : command.library;
    if (setup_.library.empty()) {
        return host::refuse(why, std::string("the monitor, ") + host::monitor_file_name() +
                                     ", is not where it is looked for; name it with --library PATH");
    }
    return monitor_.load(setup_, why);
}

bool Hosted::put(const std::vector<Port>& ports, std::string& why) {
    monitor_.unload();
    if (!write(ports)) return host::refuse(why, "the ports cannot be loaded into the library");
    return monitor_.load(setup_, why);
}

bool Hosted::keep(std::string& why) {
    std::vector<Port> ports;
    if (!read(ports)) return host::refuse(why, "the library's ports cannot be read back");
    return write_file(path_, format_ports(file_, ports), why);
}

}  // namespace tsport
