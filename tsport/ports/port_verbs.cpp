// The verbs about ports, but for those that read or write files.
#include <algorithm>
#include <atomic>
#include <chrono>

#include "tsport/answer.h"
#include "tsport/ports/check.h"

namespace tsport {

std::string named(const Text& name) {
    return "\"" + shown(name) + "\"";
}

std::string printer_of(const Port& port) {
    return shown(port.address) + " port " + std::to_string(port.number);
}

namespace {

// The one port that the command names; its address and number are known.
bool find_port(const Task& task, Port& port) {
    std::vector<Found> found;
    if (!task.find({task.command.port.name}, found)) return false;
    port = found.empty() ? Port() : found[0].port;
    if (!found.empty() && found[0].readable()) return true;
    task.fail(refused, "the port " + named(task.command.port.name) + " " + (found.empty() ? "is gone" : found[0].note),
              "refused");
    return false;
}

// -- Queues ----------------------------------------------------------------------------------------------------------

using QueueIndex = std::map<Text, std::vector<Text>, NameOrder>;  // by port

bool find_queues(const Task& task, QueueIndex& index) {
    std::vector<Queue> queues;
    if (task.report_if_error(task.spooler.queues(queues), "list the queues")) return false;
    for (const Queue& queue : queues) {
        for (const Text& port : queue.ports) index[port].push_back(queue.name);
        if (queue.ports.size() > 1) index[queue.port_list].push_back(queue.name);
    }
    return true;
}

std::string joined(const std::vector<Text>& names) {
    std::string list;
    for (const Text& name : names) list += (list.empty() ? "" : ", ") + shown(name);
    return list;
}

JsonMembers members_of(const Found& found, const std::vector<Text>& queues) {
    return [=](JsonWriter& json) {
        write_members(json, found);
        json.array("queues", [&] {
            for (const Text& queue : queues) json.value(queue);
        });
    };
}

}  // namespace

void write_members(JsonWriter& json, const Found& found) {
    const bool readable = found.readable();
    json.member("name", found.port.name);
    json.member("address", readable ? std::optional(found.port.address) : std::nullopt);
    json.member("port", readable ? std::optional(found.port.number) : std::nullopt);
    json.member("state", std::string_view(found.state));
    if (!found.note.empty()) json.member("note", found.note);
}

// -- list, show, exists ----------------------------------------------------------------------------------------------

void list(const Task& task) {
    std::vector<Found> found;
    QueueIndex queues;
    Reply& reply = task.reply;
    if (!task.find(task.command.names, found)) return;
    if (task.command.names_only) {
        for (const Found& one : found) {
            const Text& name = one.port.name;
            task.say(host::to_utf8(name), [name](JsonWriter& json) { json.member("name", name); });
        }
        return;
    }
    if (!find_queues(task, queues)) return;
    bool any_queue = false;
    bool any_note = false;
    std::vector<Port> ports;
    for (const Found& one : found) {
        any_queue = any_queue || queues.count(one.port.name) != 0;
        any_note = any_note || !one.note.empty();
        if (one.readable()) ports.push_back(one.port);
        if (!one.readable()) reply.status = refused;
    }
    if (task.command.csv) {
        reply.payload = format_ports({{Encoding::Form::utf8_with_mark}, true, W(','), {}}, ports);
        reply.has_payload = true;
        return;
    }
    reply.header = {"NAME", "ADDRESS", "PORT"};
    if (any_queue) reply.header.emplace_back("QUEUES");
    if (any_note) reply.header.emplace_back("NOTE");
    for (const Found& one : found) {
        const std::vector<Text>& of_port = queues[one.port.name];
        reply.rows.push_back(cells_of(one));
        if (!of_port.empty() || (any_queue && !one.note.empty())) reply.rows.back().push_back(joined(of_port));
        if (!one.note.empty()) reply.rows.back().push_back(one.note);
        reply.json_objects.push_back(members_of(one, of_port));
    }
    if (found.empty()) reply.summary = "no ports";
}

void show(const Task& task) {
    std::vector<Found> found;
    QueueIndex queues;
    if (!task.find({task.command.port.name}, found) || !find_queues(task, queues)) return;
    for (const Found& one : found) {
        const std::vector<std::string> cells = cells_of(one);
        const std::vector<Text>& of_port = queues[one.port.name];
        task.reply.rows = {{"name", cells[0]}, {"address", cells[1]}, {"port", cells[2]}};
        if (!of_port.empty()) task.reply.rows.push_back({"queues", joined(of_port)});
        if (!one.note.empty()) task.reply.rows.push_back({"note", one.note});
        task.reply.json_objects = {members_of(one, of_port)};
        if (!one.readable()) task.reply.status = refused;
    }
}

void exists(const Task& task) {
    const Text& name = task.command.port.name;
    bool there = false;
    if (task.report_if_error(task.spooler.ask_whether_exists(name, there), "look for the port " + named(name))) return;
    task.reply.status = there ? done : not_there;
    task.say(named(name) + (there ? " exists" : " does not exist"), [name, there](JsonWriter& json) {
        json.member("name", name);
        json.member("exists", there);
    });
}

// -- add, set, delete ------------------------------------------------------------------------------------------------

void add(const Task& task) {
    Port port = task.command.port;
    if (!task.command.number_given) port.number = contract::kUsualPortNumber;
    const DWORD code = task.spooler.add(port);
    if (task.report_if_error(code, "add the port " + named(port.name))) {
        std::vector<Text> names;
        std::vector<Text> missing;
        const bool listed = code == ERROR_ALREADY_EXISTS && task.spooler.port_names(names) == ERROR_SUCCESS;
        const bool ours = listed && !select_names(names, {port.name}, missing).empty();
        if (ours) task.reply.error.message += "; tsport set changes its printer";
        return;
    }
    if (!task.save_changes()) return;
    task.check_known(port.name, true);
    task.say("added " + named(port.name) + ": " + printer_of(port),
             [port](JsonWriter& json) { write_member(json, "added", port); });
}

void set(const Task& task) {
    Port before;
    if (!find_port(task, before)) return;
    Port port = before;
    port.address = task.command.port.address;
    if (task.command.number_given) port.number = task.command.port.number;
    if (port.number == 0 || port.number > contract::kLargestPortNumber) {
        return task.fail(bad_usage,
                         "the port's number, " + std::to_string(port.number) + ", is not 1 to 65535: give PORT too",
                         "usage");
    }
    if (task.report_if_error(task.spooler.set(port), "change the port " + named(port.name)) || !task.save_changes())
        return;
    task.say("changed " + named(port.name) + ": " + printer_of(port) + " (was " + printer_of(before) + ")",
             [port, before](JsonWriter& json) {
                 write_member(json, "changed", port);
                 write_member(json, "was", before);
             });
}

namespace {

// False when a port does not exist, or a queue prints to one; nothing is deleted then.
bool may_delete(const Task& task, std::vector<Text>& selected) {
    std::vector<Text> names;
    std::vector<Text> missing;
    QueueIndex queues;
    if (task.report_if_error(task.spooler.port_names(names), "list the ports")) return false;
    if (!task.command.force && !find_queues(task, queues)) return false;
    std::stable_sort(names.begin(), names.end(), natural_order);
    selected = select_names(names, task.command.names, missing);
    Error error = no_such_port(missing, names);
    const bool all_there = missing.empty();
    for (const Text& name : selected) {
        if (queues.count(name) == 0) continue;
        if (error.cause.empty()) error.cause = "in-use";
        error.faults.push_back({0, 0,
                                "queues print to " + named(name) + ": " + joined(queues[name]) +
                                    "; give them another port first, or delete with --force"});
    }
    if (error.faults.empty()) return true;
    error.message = "nothing was deleted";
    task.fail(all_there ? refused : not_there, std::move(error));
    return false;
}

}  // namespace

void remove(const Task& task) {
    std::vector<Text> names;
    if (!may_delete(task, names)) return;
    const bool dry_run = task.command.dry_run;
    const auto progress = task.progress(names.size(), "deleted");
    size_t finished = 0;
    for (const Text& name : names) {
        const DWORD code = dry_run ? static_cast<DWORD>(ERROR_SUCCESS) : task.spooler.remove(name);
        const bool gone = code == ERROR_FILE_NOT_FOUND;
        if (!gone && task.report_if_error(code, "delete the port " + named(name))) break;
        progress->show(++finished);
        task.say((dry_run ? "would delete " : "deleted ") + named(name),
                 [name, dry_run](JsonWriter& json) { json.member(dry_run ? "would_delete" : "deleted", name); });
    }
    if (dry_run || finished == 0) return;
    task.check_known(names[0], false);
    task.save_changes();
}

// -- test ------------------------------------------------------------------------------------------------------------

namespace {

struct Tested {
    std::string message;
    std::string verdict;  // in JSON
    std::uint32_t wait_seconds = 0;
};

JsonMembers members_of(const Port& port, const Tested& result) {
    return [=](JsonWriter& json) {
        if (!port.name.empty()) json.member("name", port.name);
        json.member("address", port.address);
        json.member("port", port.number);
        json.member("reachable", result.verdict == "accepted");
        json.member("verdict", result.verdict);
        if (result.wait_seconds != 0) json.member("wait_seconds", result.wait_seconds);
    };
}

// Another server is asked to try them itself: what can be reached from here says nothing about it. Returns the first
// error of a spooler that could not be asked.
DWORD test_all(const Task& task, const std::vector<Port>& ports, std::vector<Tested>& results) {
    const auto progress = task.progress(ports.size(), "tested");
    std::atomic<size_t> finished{0};
    std::atomic<DWORD> error{ERROR_SUCCESS};
    const auto ask = [&](size_t at) {
        bool reachable = false;
        const Spooler own(task.spooler.server());  // each thread talks to the spooler on its own
        if (const DWORD code = own.ask_whether_reachable(ports[at], reachable)) error = code;
        results[at] = {"cannot be reached from the server", "no-connection"};
        if (reachable) results[at] = {to_text(contract::PrinterCheck{}), id_of({})};
        progress->show(++finished);
    };
    results.resize(ports.size());
    if (!task.spooler.server().empty()) {
        for_each_at_once(ports.size(), ask);
        return error;
    }
    const auto checks = check_printers(ports, std::chrono::seconds(task.command.timeout_seconds),
                                       [&](size_t done) { progress->show(done); });
    for (size_t i = 0; i < checks.size(); ++i)
        results[i] = {to_text(checks[i]), id_of(checks[i].verdict), checks[i].wait_seconds};
    return ERROR_SUCCESS;
}

}  // namespace

void test(const Task& task) {
    Reply& reply = task.reply;
    std::vector<Found> found;
    std::vector<Port> ports;
    const bool host_given = task.command.number_given;
    if (!host_given && !task.find(task.command.names, found)) return;
    if (host_given) ports.push_back(task.command.port);
    for (const Found& one : found) {
        if (one.readable()) ports.push_back(one.port);
    }
    std::vector<Tested> results;
    if (task.report_if_error(test_all(task, ports, results), "test the ports")) return;
    const bool one = host_given || (task.command.names.size() == 1 && !is_pattern(task.command.names[0]));
    if (!one) reply.header = {"NAME", "ADDRESS", "PORT", "PRINTER"};
    for (size_t i = 0; i < ports.size(); ++i) {
        if (results[i].verdict != "accepted") reply.status = not_there;
        std::vector<std::string> cells = cells_of(Found{ports[i]});
        cells.emplace_back(results[i].message);
        reply.rows.push_back(one ? std::vector<std::string>{printer_of(ports[i]) + " " + results[i].message} : cells);
        reply.json_objects.push_back(members_of(ports[i], results[i]));
    }
    for (const Found& unreadable : found) {
        if (unreadable.readable()) continue;
        reply.status = refused;
        reply.rows.push_back(cells_of(unreadable));
        reply.rows.back().push_back(unreadable.note);
        reply.json_objects.push_back([unreadable](JsonWriter& json) { write_members(json, unreadable); });
    }
    if (reply.rows.empty()) reply.summary = "no ports";
}

}  // namespace tsport
