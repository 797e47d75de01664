// The verbs about ports, but for those that read or write files.
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

void no_such_port(const Task& task, const std::vector<Text>& names) {
    std::string list;
    for (const Text& name : names) list += (list.empty() ? "" : ", ") + named(name);
    const bool pattern = names.size() == 1 && is_pattern(names[0]);
    task.fail(not_there, (pattern ? "no port matches " : "there is no port ") + list, "no-port");
}

// The monitor's names that the command asks for; false when that has been answered.
bool find_names(const Task& task, std::vector<Text>& selected) {
    std::vector<Text> names;
    std::vector<Text> missing;
    if (task.report_if_error(task.spooler.port_names(names), "list the ports")) return false;
    selected = select_names(names, task.command.names, missing);
    if (!missing.empty()) no_such_port(task, missing);
    return missing.empty();
}

bool find_ports(const Task& task, std::vector<Port>& ports) {
    std::vector<Text> names;
    return find_names(task, names) && task.read(names, ports);
}

// The one port that the command names, as the monitor has it.
bool find_port(const Task& task, Port& port) {
    std::vector<Text> names;
    if (task.report_if_error(task.spooler.port_names(names), "list the ports")) return false;
    for (const Text& name : names) {
        if (!same_name(name, task.command.port.name)) continue;
        return !task.report_if_error(task.spooler.read(name, port), "show the port " + named(name));
    }
    no_such_port(task, {task.command.port.name});
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

JsonMembers members_of(const Port& port, const std::vector<Text>& queues) {
    return [=](JsonWriter& json) {
        write_members(json, port);
        json.array("queues", [&] {
            for (const Text& queue : queues) json.value(queue);
        });
    };
}

}  // namespace

// -- list, show, exists ----------------------------------------------------------------------------------------------

namespace {

void list_names_only(const Task& task) {
    std::vector<Text> names;
    if (!find_names(task, names)) return;
    for (const Text& name : names) {
        task.say(host::to_utf8(name), [name](JsonWriter& json) { json.member("name", name); });
    }
    task.reply.array = true;
}

}  // namespace

void list(const Task& task) {
    if (task.command.names_only) return list_names_only(task);
    std::vector<Port> ports;
    QueueIndex queues;
    Reply& reply = task.reply;
    if (!find_ports(task, ports) || !find_queues(task, queues)) return;
    reply.array = true;
    reply.header = {"NAME", "ADDRESS", "PORT"};
    bool any_queue = false;
    for (const Port& port : ports) any_queue = any_queue || queues.count(port.name) != 0;
    if (any_queue) reply.header.emplace_back("QUEUES");
    for (const Port& port : ports) {
        reply.rows.push_back(cells_of(port));
        if (any_queue) reply.rows.back().push_back(joined(queues[port.name]));
        reply.json_objects.push_back(members_of(port, queues[port.name]));
    }
    if (ports.empty()) reply.summary = "no ports";
    if (task.command.csv) {
        reply.payload = format_ports({{}, true, W(','), {}}, ports);
        reply.has_payload = true;
        reply.rows.clear();
        reply.header.clear();
        reply.summary.clear();
    }
}

void show(const Task& task) {
    Port port;
    QueueIndex queues;
    if (!find_port(task, port) || !find_queues(task, queues)) return;
    const std::vector<std::string> cells = cells_of(port);
    task.reply.rows = {{"name", cells[0]}, {"address", cells[1]}, {"port", cells[2]}};
    if (queues.count(port.name) != 0) task.reply.rows.push_back({"queues", joined(queues[port.name])});
    task.reply.json_objects = {members_of(port, queues[port.name])};
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
    if (task.report_if_error(task.spooler.add(port), "add the port " + named(port.name)) || !task.save_changes())
        return;
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
        task.fail(bad_usage, "the port's number, " + std::to_string(port.number) + ", is not 1 to 65535: give PORT too",
                  "usage");
        return;
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

// False when a queue prints to one of the ports; nothing is deleted then.
bool may_delete(const Task& task, const std::vector<Text>& names) {
    QueueIndex queues;
    if (task.command.force) return true;
    if (!find_queues(task, queues)) return false;
    std::string used;
    for (const Text& name : names) {
        if (queues.count(name) == 0) continue;
        used += (used.empty() ? "" : "; ") + named(name) + " by " + joined(queues[name]);
    }
    if (used.empty()) return true;
    task.fail(refused,
              "nothing was deleted: queues print to " + used + "; give them other ports first, or delete with --force",
              "in-use");
    return false;
}

}  // namespace

void remove(const Task& task) {
    std::vector<Text> names;
    if (!find_names(task, names) || !may_delete(task, names)) return;
    const bool dry_run = task.command.dry_run;
    const auto progress = task.progress(names.size(), "deleted");
    size_t finished = 0;
    for (const Text& name : names) {
        const DWORD code = dry_run ? static_cast<DWORD>(ERROR_SUCCESS) : task.spooler.remove(name);
        if (task.report_if_error(code == ERROR_FILE_NOT_FOUND ? static_cast<DWORD>(ERROR_SUCCESS) : code,
                                 "delete the port " + named(name))) {
            break;
        }
        progress->show(++finished);
        task.say((dry_run ? "would delete " : "deleted ") + named(name),
                 [name, dry_run](JsonWriter& json) { json.member(dry_run ? "would_delete" : "deleted", name); });
    }
    task.reply.array = task.command.names.size() > 1 || is_pattern(task.command.names[0]);
    if (!dry_run && finished != 0) task.save_changes();
}

// -- test ------------------------------------------------------------------------------------------------------------

namespace {

struct Tested {
    std::string message;
    std::string verdict;  // in JSON
    std::uint32_t wait_seconds = 0;
};

// Another server is asked to try it itself: what can be reached from here says nothing about it.
DWORD test_one(const Task& task, const Port& port, Tested& result) {
    if (task.spooler.server().empty()) {
        const auto check = check_printer(port, std::chrono::seconds(task.command.timeout_seconds));
        result = {to_text(check), id_of(check.verdict), check.wait_seconds};
        return ERROR_SUCCESS;
    }
    bool reachable = false;
    const Spooler own(task.spooler.server());  // each thread talks to the spooler on its own
    const DWORD code = own.ask_whether_reachable(port, reachable);
    result = {"cannot be reached from the server", "no-connection"};
    if (reachable) result = {to_text({}), id_of({})};
    return code;
}

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

// Many at once. Returns the first error of a spooler that could not be asked.
DWORD test_all(const Task& task, const std::vector<Port>& ports, std::vector<Tested>& results) {
    const auto progress = task.progress(ports.size(), "tested");
    std::atomic<size_t> finished{0};
    std::atomic<DWORD> error{ERROR_SUCCESS};
    for_each_at_once(ports.size(), [&](size_t at) {
        if (const DWORD code = test_one(task, ports[at], results[at])) error = code;
        progress->show(++finished);
    });
    return error;
}

}  // namespace

void test(const Task& task) {
    Reply& reply = task.reply;
    std::vector<Port> ports;
    const bool host_given = task.command.number_given;
    if (host_given) {
        ports.push_back(task.command.port);
    } else if (!find_ports(task, ports)) {
        return;
    }
    std::vector<Tested> results(ports.size());
    if (task.report_if_error(test_all(task, ports, results), "test the ports")) return;
    const bool one = host_given || (task.command.names.size() == 1 && !is_pattern(task.command.names[0]));
    reply.array = !one;
    if (!one) reply.header = {"NAME", "ADDRESS", "PORT", "PRINTER"};
    for (size_t i = 0; i < ports.size(); ++i) {
        if (results[i].verdict != "accepted") reply.status = not_there;
        std::vector<std::string> cells = cells_of(ports[i]);
        cells.emplace_back(results[i].message);
        reply.rows.push_back(one ? std::vector<std::string>{printer_of(ports[i]) + " " + results[i].message} : cells);
        reply.json_objects.push_back(members_of(ports[i], results[i]));
    }
    if (ports.empty()) reply.summary = "no ports";
}

}  // namespace tsport
