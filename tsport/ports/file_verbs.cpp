// export, import and diff: the monitor's ports against those of a file.
#include <filesystem>
#include <iterator>
#include <set>

#include "tsport/answer.h"

namespace tsport {
namespace {

struct Change {
    Port before;
    Port after;
};

struct Differences {
    std::vector<Port> only_in_file;
    std::vector<Port> only_here;
    std::vector<Change> changed;
    size_t same = 0;

    bool any() const { return !only_in_file.empty() || !only_here.empty() || !changed.empty(); }
    size_t to_do() const { return only_in_file.size() + changed.size(); }
};

Differences compare(const std::vector<Port>& here, const std::vector<Port>& file) {
    Differences differences;
    const PortIndex known = index_of(here);
    const PortIndex wanted = index_of(file);
    for (const Port& port : file) {
        const auto found = known.find(port.name);
        if (found == known.end()) {
            differences.only_in_file.push_back(port);
        } else if (same_printer(*found->second, port)) {
            ++differences.same;
        } else {
            Port after = port;
            after.name = found->second->name;
            differences.changed.push_back({*found->second, after});
        }
    }
    for (const Port& port : here) {
        if (wanted.count(port.name) == 0) differences.only_here.push_back(port);
    }
    return differences;
}

std::string file_name(const Command& command) {
    return command.file == "-" ? "standard input" : command.file;
}

// The port file that the command names, "-" for standard input; false when the verb has been answered.
bool read_file_of(const Task& task, PortsFile& file) {
    const Command& command = task.command;
    std::string why;
    bool good = false;
    if (command.file == "-") {
        const std::string bytes(std::istreambuf_iterator<char>(task.console.input), {});
        file.csv = command.csv;
        good = parse_ports(bytes, file_name(command), file, why);
    } else {
        good = read_ports_file(command.file, command.csv || has_csv_name(command.file), file, why);
    }
    if (!good) task.fail(bad_usage, why, "file");
    return good;
}

bool read_here(const Task& task, std::vector<Port>& ports) {
    std::vector<Text> names;
    return !task.report_if_error(task.spooler.port_names(names), "list the ports") && task.read(names, ports);
}

void add_row(Rows& rows, const char* what, const Port& port, const std::string& more = std::string()) {
    std::vector<std::string> row = cells_of(port);
    row.insert(row.begin(), what);
    if (!more.empty()) row.push_back(more);
    rows.push_back(row);
}

std::string printer_before(const Change& change) {
    return "was " + shown(change.before.address) + " " + std::to_string(change.before.number);
}

void write_member(JsonWriter& json, const char* name, const std::vector<Change>& changes) {
    json.array(name, [&] {
        for (const Change& change : changes) {
            json.object([&] {
                tsport::write_member(json, "port", change.after);
                tsport::write_member(json, "was", change.before);
            });
        }
    });
}

// -- Import ----------------------------------------------------------------------------------------------------------

// Checks in advance what the spooler would refuse half-way. False when the verb has been answered.
bool names_are_free(const Task& task, const Differences& plan) {
    std::vector<SpoolerPort> ports;
    if (task.report_if_error(task.spooler.ports(ports), "list the ports")) return false;
    std::set<Text, NameOrder> taken;
    for (const SpoolerPort& port : ports) taken.insert(port.name);
    for (const Port& port : plan.only_in_file) {
        if (taken.count(port.name) == 0) continue;
        task.fail(refused, "nothing was changed: another monitor has a port " + named(port.name), "exists",
                  ERROR_ALREADY_EXISTS);
        return false;
    }
    return true;
}

// What a new port or a new printer of one should not have, with its line.
bool plan_is_sound(const Task& task, const Differences& plan, const PortsFile& file) {
    std::map<Text, size_t, NameOrder> lines;
    for (const Entry& entry : file.entries) {
        if (entry.is_port) lines.emplace(entry.port.name, entry.line);
    }
    std::string messages;
    const auto note = [&](const Port& port, const std::string& why) {
        if (why.empty()) return;
        messages += (messages.empty() ? "" : "\n") + file_name(task.command) + ":" + std::to_string(lines[port.name]) +
                    ": " + why;
    };
    for (const Port& port : plan.only_in_file) {
        note(port, new_name_fault(port.name));
        note(port, new_address_fault(port.address));
    }
    for (const Change& change : plan.changed) note(change.after, new_address_fault(change.after.address));
    if (!messages.empty()) task.fail(bad_usage, messages, "file");
    return messages.empty();
}

// All at once.
bool put_into_store(const Task& task, const Differences& plan) {
    std::vector<Port> ports = plan.only_in_file;
    for (const Change& change : plan.changed) ports.push_back(change.after);
    std::string why;
    if (task.hosted->put(ports, why)) return task.save_changes();
    task.fail(refused, why, "store");
    return false;
}

bool apply(const Task& task, const Differences& plan) {
    if (task.hosted != nullptr) return put_into_store(task, plan);
    const auto progress = task.progress(plan.to_do(), "done");
    size_t finished = 0;
    const auto succeeded = [&](DWORD code, const Port& port) {
        const std::string count = " (" + std::to_string(finished) + " of " + std::to_string(plan.to_do()) + " done)";
        progress->show(++finished);
        return !task.report_if_error(code, "take the port " + named(port.name) + count);
    };
    bool good = true;
    for (const Port& port : plan.only_in_file) good = good && succeeded(task.spooler.add(port), port);
    for (const Change& change : plan.changed) {
        good = good && succeeded(task.spooler.set(change.after), change.after);
    }
    return good;
}

void show_plan(const Task& task, const Differences& plan) {
    const bool dry_run = task.command.dry_run;
    Reply& reply = task.reply;
    for (const Port& port : plan.only_in_file) add_row(reply.rows, dry_run ? "would add" : "added", port);
    for (const Change& change : plan.changed) {
        add_row(reply.rows, dry_run ? "would change" : "changed", change.after, printer_before(change));
    }
    reply.summary = std::to_string(plan.only_in_file.size()) + (dry_run ? " to add, " : " added, ") +
                    std::to_string(plan.changed.size()) + (dry_run ? " to change, " : " changed, ") +
                    std::to_string(plan.same) + " left alone";
    reply.json_objects = {[plan, dry_run](JsonWriter& json) {
        json.member("dry_run", dry_run);
        tsport::write_member(json, "added", plan.only_in_file);
        write_member(json, "changed", plan.changed);
        json.member("left_alone", plan.same);
    }};
}

// What the file holds now, so that its comments, order and encoding stay; false when the verb has been answered.
bool read_former_export(const Task& task, PortsFile& file) {
    std::error_code error;
    const std::string& path = task.command.file;
    if (task.command.force || path == "-" || !is_file(path) || !std::filesystem::exists(host::path_of(path), error)) {
        return true;
    }
    std::string why;
    if (read_ports_file(path, file.csv, file, why)) return true;
    task.fail(bad_usage,
              "nothing was written: " + path + " exists and is not a file of ports:\n" + why +
                  "\nName another file, or replace this one with --force",
              "file");
    return false;
}

}  // namespace

void export_ports(const Task& task) {
    const std::string& path = task.command.file;
    PortsFile file;
    file.csv = task.command.csv || has_csv_name(path);
    std::vector<Text> names;
    std::vector<Text> missing;
    std::vector<Port> ports;
    std::string why;
    if (task.report_if_error(task.spooler.port_names(names), "list the ports")) return;
    names = select_names(names, task.command.names, missing);
    if (!missing.empty()) return task.fail(not_there, "there is no port " + named(missing[0]), "no-port");
    if (!task.read(names, ports)) return;
    if (!read_former_export(task, file)) return;
    const std::string text = format_ports(file, ports);
    // Messages must not mix with the data.
    task.reply.has_payload = path == "-" || !is_file(path);
    if (path == "-") {
        task.reply.payload = text;
    } else if (!write_file(path, text, why)) {
        return task.fail(bad_usage, why, "file");
    }
    task.say(std::to_string(ports.size()) + (ports.size() == 1 ? " port" : " ports") + " written to " +
                 (path == "-" ? "standard output" : path),
             [count = ports.size()](JsonWriter& json) { json.member("exported", count); });
}

void import_ports(const Task& task) {
    std::vector<Port> here;
    PortsFile file;
    if (!read_file_of(task, file) || !read_here(task, here)) return;
    const Differences plan = compare(here, file.ports());
    if (!plan_is_sound(task, plan, file) || !names_are_free(task, plan)) return;
    if (task.command.dry_run || plan.to_do() == 0 || apply(task, plan)) show_plan(task, plan);
}

void diff_ports(const Task& task) {
    std::vector<Port> here;
    PortsFile file;
    if (!read_file_of(task, file) || !read_here(task, here)) return;
    const Differences found = compare(here, file.ports());
    Reply& reply = task.reply;
    for (const Port& port : found.only_in_file) add_row(reply.rows, "only in file", port);
    for (const Port& port : found.only_here) add_row(reply.rows, "only here", port);
    for (const Change& change : found.changed) {
        add_row(reply.rows, "differs", change.after, printer_before(change));
    }
    if (!found.any()) reply.summary = "no differences";
    reply.status = found.any() ? not_there : done;
    reply.json_objects = {[found](JsonWriter& json) {
        tsport::write_member(json, "only_in_file", found.only_in_file);
        tsport::write_member(json, "only_here", found.only_here);
        write_member(json, "differ", found.changed);
    }};
}

}  // namespace tsport
