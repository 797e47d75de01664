// The monitor's ports: which there are, with what is known of each.
#include <algorithm>
#include <atomic>
#include <set>
#include <thread>

#include "host/ports.h"
#include "tsport/answer.h"
#include "tsport/ports/check.h"

namespace tsport {
namespace {

const char restart[] = "at a quiet moment, restart the spooler (net stop spooler /y, net start spooler)";

// Asks each of these ports, many at once: a spooler answers one caller after a round trip over the network.
void ask_each(const Task& task, std::vector<Found>& found, const std::vector<size_t>& asked) {
    const auto progress = task.progress(asked.size(), "ports asked");
    std::atomic<size_t> finished{0};
    const auto ask = [&](size_t at) {
        const Spooler own(task.spooler.server());  // each thread talks to the spooler on its own
        Found& one = found[asked[at]];
        one.code = own.read(one.port.name, one.port);
        if (one.code != ERROR_SUCCESS) one.state = "unreadable";
        if (one.code != ERROR_SUCCESS) one.note = "cannot be asked: " + host::error_message(one.code);
        if (one.code == ERROR_UNKNOWN_PORT) one.note = "not known to the spooler yet: " + std::string(restart);
        progress->show(++finished);
    };
    for_each_at_once(asked.size(), ask, 16);
}

// Leaves out the ports that cannot be asked because they were deleted meanwhile.
void drop_deleted(const Spooler& spooler, std::vector<Found>& found) {
    std::vector<Text> names;
    if (spooler.port_names(names) != ERROR_SUCCESS) return;
    const std::set<Text, NameOrder> now(names.begin(), names.end());
    std::erase_if(found, [&](const Found& one) { return !one.readable() && !now.contains(one.port.name); });
}

}  // namespace

Error no_such_port(const std::vector<Text>& missing, const std::vector<Text>& names) {
    Error error{"", missing.empty() ? "" : "no-port"};
    command_line::Words known;
    for (const Text& name : names) known.push_back(shown(name));
    for (const Text& name : missing) {
        const bool pattern = is_pattern(name);
        const std::string nearest = pattern ? "" : command_line::did_you_mean(shown(name), known);
        error.faults.push_back({0, 0, (pattern ? "no port matches " : "there is no port ") + named(name) + nearest});
    }
    return error;
}

bool Task::find(const std::vector<Text>& patterns, std::vector<Found>& found) const {
    std::vector<Text> names;
    std::vector<Port> stored;
    std::vector<contract::PortConfig> configs;
    const bool local = spooler.server().empty();
    std::thread reading;  // what is stored, while the spooler looks for its ports
    if (hosted == nullptr && local) reading = std::thread([&configs] { host::read_stored_ports(configs); });
    const DWORD code = spooler.port_names(names);
    if (reading.joinable()) reading.join();
    if (report_if_error(code, "list the ports")) return false;
    const std::set<Text, NameOrder> loaded(names.begin(), names.end());
    if (hosted != nullptr) hosted->read(stored);
    for (const contract::PortConfig& config : configs) stored.push_back(from_config(config));
    for (const Port& port : stored) {
        if (!loaded.contains(port.name)) names.push_back(port.name);
    }
    std::stable_sort(names.begin(), names.end(), natural_order);
    std::vector<Text> missing;
    const std::vector<Text> selected = select_names(names, patterns, missing);
    if (!missing.empty()) fail(not_there, no_such_port(missing, names));
    if (!missing.empty()) return false;
    const PortIndex index = index_of(stored);
    std::vector<size_t> asked;
    for (const Text& name : selected) {
        const auto place = index.find(name);
        Found one{{name, {}, 0}};
        if (place != index.end()) one.port = {name, place->second->address, place->second->number};
        if (place == index.end()) asked.push_back(found.size());
        if (!loaded.contains(name)) {
            one.state = "not-loaded";
            one.note = "stored, but not loaded: " + std::string(restart);
        } else if (local && place == index.end()) {
            one.state = "not-stored";
            one.note = "loaded, but not stored: gone once the spooler is restarted";
        }
        found.push_back(one);
    }
    ask_each(*this, found, asked);
    bool all_told = true;
    for (const Found& one : found) {
        const bool concerns_all = one.code == ERROR_ACCESS_DENIED || one.code == RPC_S_SERVER_UNAVAILABLE;
        if (concerns_all && report_if_error(one.code, "show the ports")) return false;
        all_told = all_told && one.code == ERROR_SUCCESS;
    }
    if (!all_told) drop_deleted(spooler, found);
    return true;
}

void Task::check_known(const Text& name, bool added) const {
    if (hosted != nullptr) return;
    if (added && spooler.is_unknown(name)) {
        reply.warning = "the port is stored, but the spooler does not know it yet, and no queue can be given to it: " +
                        std::string(restart);
    }
    // A spooler that takes any name has no list of its own.
    if (!added && spooler.is_known(name) && spooler.is_unknown(name + W("?"))) {
        reply.warning =
            "the port is deleted, but the spooler has it in its list until it starts again: " + std::string(restart);
    }
}

std::vector<std::string> cells_of(const Found& found) {
    const Port& port = found.port;
    if (!found.readable()) return {shown(port.name), "-", "-"};
    return {shown(port.name), shown(port.address), std::to_string(port.number)};
}

}  // namespace tsport
