// export, import and diff: the monitor's ports against those of a file.
#include "tools/tsport/answer.h"
#include "tools/tsport/commands.h"
#include "tools/tsport/output.h"
#include "tools/tsport/ports_file.h"

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
    for (const Port& port : file) {
        const Port* const known = find_port(here, port.name);
        if (known == nullptr) {
            differences.only_in_file.push_back(port);
        } else if (same_printer(*known, port)) {
            ++differences.same;
        } else {
            Port after = port;
            after.name = known->name;
            differences.changed.push_back({*known, after});
        }
    }
    for (const Port& port : here) {
        if (find_port(file, port.name) == nullptr) differences.only_here.push_back(port);
    }
    return differences;
}

// False when the verb has been answered.
bool read_both(const Task& task, std::vector<Port>& here, std::vector<Port>& file) {
    std::string why;
    if (!read_ports_file(task.command.file, file, why)) {
        task.fail(bad_usage, why);
        return false;
    }
    return !task.failed(read_ports(task.channel, here), "show the ports");
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

std::string in_json(const std::vector<Change>& changes) {
    std::string text = "[";
    for (const Change& change : changes) {
        text += text.size() == 1 ? "" : ", ";
        text += "{\"port\": " + tsport::in_json(change.after) + ", \"was\": " + tsport::in_json(change.before) + "}";
    }
    return text + "]";
}

// -- Import ----------------------------------------------------------------------------------------------------------

// Nothing is begun that the spooler would refuse half-way. False when the verb has been answered.
bool names_are_free(const Task& task, const Differences& plan) {
    for (const Port& port : plan.only_in_file) {
        bool taken = false;
        const DWORD code = ask_whether_exists(task.channel, port.name, taken);
        if (task.failed(code, "look for the port \"" + shown(port.name) + "\"")) return false;
        if (!taken) continue;
        task.fail(refused, "nothing was done: another monitor has a port \"" + shown(port.name) + "\"",
                  ERROR_ALREADY_EXISTS);
        return false;
    }
    return true;
}

bool apply(const Task& task, const Differences& plan) {
    size_t finished = 0;
    const auto succeeded = [&](DWORD code, const Port& port) {
        const std::string count = " (" + std::to_string(finished++) + " of " + std::to_string(plan.to_do()) + " done)";
        return !task.failed(code, "take the port \"" + shown(port.name) + "\"" + count);
    };
    bool good = true;
    for (const Port& port : plan.only_in_file) good = good && succeeded(add_port(task.channel, port), port);
    for (const Change& change : plan.changed) {
        good = good && succeeded(set_port(task.channel, change.after), change.after);
    }
    return task.kept() && good;
}

std::string plan_in_words(const Differences& plan, bool dry_run) {
    Rows rows;
    for (const Port& port : plan.only_in_file) add_row(rows, dry_run ? "would add" : "added", port);
    for (const Change& change : plan.changed) {
        add_row(rows, dry_run ? "would change" : "changed", change.after, printer_before(change));
    }
    return in_columns(rows) + std::to_string(plan.only_in_file.size()) + (dry_run ? " to add, " : " added, ") +
           std::to_string(plan.changed.size()) + (dry_run ? " to change, " : " changed, ") + std::to_string(plan.same) +
           " left alone";
}

}  // namespace

void export_ports(const Task& task) {
    std::vector<Port> ports;
    std::string why;
    if (task.failed(read_ports(task.channel, ports), "show the ports")) return;
    if (!write_ports_file(task.command.file, ports, why)) {
        task.fail(bad_usage, why);
        return;
    }
    const std::string count = std::to_string(ports.size());
    task.say(count + (ports.size() == 1 ? " port" : " ports") + " written to " + task.command.file,
             "{\"exported\": " + count + "}");
}

void import_ports(const Task& task) {
    std::vector<Port> here;
    std::vector<Port> file;
    if (!read_both(task, here, file)) return;
    const Differences plan = compare(here, file);
    if (!names_are_free(task, plan)) return;
    const bool dry_run = task.command.dry_run;
    if (!dry_run && plan.to_do() != 0 && !apply(task, plan)) return;
    task.say(plan_in_words(plan, dry_run), std::string("{\"dry_run\": ") + (dry_run ? "true" : "false") +
                                               ", \"added\": " + tsport::in_json(plan.only_in_file) +
                                               ", \"changed\": " + in_json(plan.changed) +
                                               ", \"left_alone\": " + std::to_string(plan.same) + "}");
}

void diff_ports(const Task& task) {
    std::vector<Port> here;
    std::vector<Port> file;
    if (!read_both(task, here, file)) return;
    const Differences found = compare(here, file);
    Rows rows;
    for (const Port& port : found.only_in_file) add_row(rows, "only in file", port);
    for (const Port& port : found.only_here) add_row(rows, "only here", port);
    for (const Change& change : found.changed) add_row(rows, "differs", change.after, printer_before(change));
    std::string words = found.any() ? in_columns(rows) : "no differences\n";
    words.pop_back();
    task.answer.status = found.any() ? not_there : done;
    task.say(words, "{\"only_in_file\": " + tsport::in_json(found.only_in_file) + ", \"only_here\": " +
                        tsport::in_json(found.only_here) + ", \"differ\": " + in_json(found.changed) + "}");
}

}  // namespace tsport
