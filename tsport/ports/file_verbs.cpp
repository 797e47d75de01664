// export, import and diff: the monitor's ports against those of a file.
#include <iterator>
#include <set>

#include "tsport/answer.h"
#include "winportmon/contract/names.h"

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

// A row, and a result, for a port that cannot be asked.
void add_unreadable(const Task& task, const Found& found) {
    task.reply.status = refused;
    task.reply.rows.push_back({"left out", shown(found.port.name), found.note});
    task.reply.json_objects.push_back([found](JsonWriter& json) { write_members(json, found); });
}

// The ports of the file that the command names, "-" for standard input, and what is wrong in it.
std::vector<Fault> read_file_of(const Task& task, PortsFile& file) {
    const Command& command = task.command;
    if (command.file != "-") return read_ports_file(command.file, command.csv || has_csv_name(command.file), file);
    file.csv = command.csv;
    return parse_ports(std::string(std::istreambuf_iterator<char>(task.console.input), {}), file);
}

// The monitor's ports; those that cannot be read are left out of the comparison, and told.
bool read_here(const Task& task, PortsFile& file, std::vector<Port>& here) {
    std::vector<Found> found;
    if (!task.find({}, found)) return false;
    std::set<Text, NameOrder> unreadable;
    for (const Found& one : found) {
        if (one.readable()) here.push_back(one.port);
        if (one.readable()) continue;
        unreadable.insert(one.port.name);
        add_unreadable(task, one);
    }
    std::erase_if(file.entries,
                  [&](const Entry& entry) { return entry.is_port && unreadable.contains(entry.port.name); });
    return true;
}

void add_row(Rows& rows, const char* what, const Port& port, const std::string& more = std::string()) {
    std::vector<std::string> row = cells_of({port});
    row.insert(row.begin(), what);
    if (!more.empty()) row.push_back(more);
    rows.push_back(row);
}

std::string printer_before(const Change& change, const char* word) {
    return word + shown(change.before.address) + " " + std::to_string(change.before.number);
}

void write_member(JsonWriter& json, const char* name, const std::vector<Change>& changes, const char* after,
                  const char* before) {
    json.array(name, [&] {
        for (const Change& change : changes) {
            json.object([&] {
                tsport::write_member(json, after, change.after);
                tsport::write_member(json, before, change.before);
            });
        }
    });
}

// -- Import ----------------------------------------------------------------------------------------------------------

// Adds what a new port, or a new printer of one, should not have, and what the spooler would refuse half-way; false
// when the verb has been answered.
bool find_faults(const Task& task, const Differences& plan, const PortsFile& file, std::vector<Fault>& faults) {
    std::vector<SpoolerPort> ports;
    if (task.report_if_error(task.spooler.ports(ports), "list the ports")) return false;
    std::set<Text, NameOrder> taken;
    for (const SpoolerPort& port : ports) {
        if (!same_name(port.monitor, contract::kMonitorName)) taken.insert(port.name);
    }
    const PortIndex added = index_of(plan.only_in_file);
    PortIndex changed;
    for (const Change& change : plan.changed) changed.emplace(change.after.name, &change.after);
    for (const Entry& entry : file.entries) {
        const Text& name = entry.port.name;
        const auto note = [&](size_t column, const std::string& why) {
            if (!why.empty()) faults.push_back({entry.line, column, why});
        };
        if (!entry.is_port || entry.is_faulty) continue;
        if (added.contains(name)) note(1, new_name_fault(name));
        if (added.contains(name) || changed.contains(name))
            note(entry.address_column, new_address_fault(entry.port.address));
        if (taken.contains(name)) note(1, "another monitor has a port " + named(name));
    }
    sort_by_place(faults);
    return true;
}

bool apply(const Task& task, const Differences& plan) {
    std::vector<Port> ports = plan.only_in_file;
    for (const Change& change : plan.changed) ports.push_back(change.after);
    std::string why;
    if (task.hosted != nullptr) {
        if (task.hosted->put(ports, why)) return task.save_changes();
        task.fail(refused, why, "store");
        return false;
    }
    const auto progress = task.progress(ports.size(), "done");
    for (size_t i = 0; i < ports.size(); ++i) {
        const bool is_new = i < plan.only_in_file.size();
        const DWORD code = is_new ? task.spooler.add(ports[i]) : task.spooler.set(ports[i]);
        const std::string count = " (" + std::to_string(i) + " of " + std::to_string(ports.size()) + " done)";
        progress->show(i + 1);
        if (task.report_if_error(code, "take the port " + named(ports[i].name) + count)) return false;
    }
    if (!plan.only_in_file.empty()) task.check_known(ports[0].name, true);  // as all the others
    return true;
}

void show_plan(const Task& task, const Differences& plan) {
    const bool dry_run = task.command.dry_run;
    Reply& reply = task.reply;
    for (const Port& port : plan.only_in_file) add_row(reply.rows, dry_run ? "would add" : "added", port);
    for (const Change& change : plan.changed) {
        add_row(reply.rows, dry_run ? "would change" : "changed", change.after, printer_before(change, "was "));
    }
    reply.summary = std::to_string(plan.only_in_file.size()) + (dry_run ? " to add, " : " added, ") +
                    std::to_string(plan.changed.size()) + (dry_run ? " to change, " : " changed, ") +
                    std::to_string(plan.same) + " left alone";
    reply.json_objects.push_back([plan, dry_run](JsonWriter& json) {
        json.member("dry_run", dry_run);
        tsport::write_member(json, "added", plan.only_in_file);
        write_member(json, "changed", plan.changed, "port", "was");
        json.member("left_alone", plan.same);
    });
}

// What the file holds now, so that its comments, order and encoding stay; false when the verb has been answered.
bool read_former_export(const Task& task, PortsFile& file) {
    const std::string& path = task.command.file;
    if (task.command.force || path == "-" || !is_file(path) || !is_there(path)) return true;
    const std::vector<Fault> faults = read_ports_file(path, file.csv, file);
    if (faults.empty()) return true;
    task.fail(bad_usage, {"nothing was written: " + path +
                              " exists and is no file of ports; name another file, or replace this one with --force",
                          "file", 0, path, faults});
    return false;
}

}  // namespace

void export_ports(const Task& task) {
    const std::string& path = task.command.file;
    PortsFile file;
    file.csv = task.command.csv || has_csv_name(path);
    if (file.csv)
        file.encoding.form = Encoding::Form::utf8_with_mark;  // without it, spreadsheets take another encoding
    std::vector<Found> found;
    std::vector<Port> ports;
    std::string why;
    if (!task.find(task.command.names, found) || !read_former_export(task, file)) return;
    for (const Found& one : found) {
        one.readable() ? ports.push_back(one.port) : add_unreadable(task, one);
    }
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
    std::vector<Fault> faults = read_file_of(task, file);
    if (!read_here(task, file, here)) return;
    const Differences plan = compare(here, file.ports());
    if (!find_faults(task, plan, file, faults)) return;
    if (!faults.empty())
        return task.fail(bad_usage, {"nothing was changed", "file", 0, file_name(task.command), faults});
    if (task.command.dry_run || plan.to_do() == 0 || apply(task, plan)) show_plan(task, plan);
}

void diff_ports(const Task& task) {
    std::vector<Port> here;
    PortsFile file;
    const std::vector<Fault> faults = read_file_of(task, file);
    if (!faults.empty()) return task.fail(bad_usage, {"", "file", 0, file_name(task.command), faults});
    if (!read_here(task, file, here)) return;
    const Differences found = compare(here, file.ports());
    Reply& reply = task.reply;
    for (const Port& port : found.only_in_file) add_row(reply.rows, "only in file", port);
    for (const Port& port : found.only_here) add_row(reply.rows, "only here", port);
    for (const Change& change : found.changed) {
        Port in_file = change.after;
        in_file.address.insert(0, W("file "));
        add_row(reply.rows, "differs", in_file, printer_before(change, "here "));
    }
    if (!found.any()) reply.summary = "no differences";
    if (reply.status == done && found.any()) reply.status = not_there;
    reply.json_objects.push_back([found](JsonWriter& json) {
        tsport::write_member(json, "only_in_file", found.only_in_file);
        tsport::write_member(json, "only_here", found.only_here);
        write_member(json, "differ", found.changed, "file", "here");
    });
}

}  // namespace tsport
