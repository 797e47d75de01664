#include "tsport/migrate/apply.h"

#include <algorithm>
#include <optional>

#include "tsport/migrate/queue.h"
#include "tsport/migrate/stored_ports.h"

namespace tsport::migrate {

const char kUnknownPort[] = "the spooler does not know its new port yet";

namespace {

std::string refused_to(const std::string& deed, DWORD code) {
    return code == ERROR_SUCCESS ? "" : "the spooler refused to " + deed + ": " + host::error_message(code);
}

// Whether the spooler lets queues have the port, and it leads to the printer that it should. Empty when it does.
std::string check_port(const Spooler& spooler, const Port& port) {
    Port there;
    const DWORD code = spooler.read(port.name, there);
    if (code == ERROR_UNKNOWN_PORT || code == ERROR_INVALID_PRINTER_NAME) return kUnknownPort;
    if (code == ERROR_SUCCESS && !same_printer(there, port)) return named(port.name) + " leads to " + printer_of(there);
    return refused_to("show the port " + named(port.name), code);
}

class Run {
  public:
    Run(const Task& task, Journal& journal, std::string& why) : task_(task), journal_(journal), why_(why) {}

    // False when the journal cannot be written; nothing was changed then.
    bool carry_out(Row& row, bool adds) {
        if (adds) {
            if (!journal_.write({Step::Kind::add, row.to, {}, {}}, why_)) return false;
            const DWORD code = task_.spooler.add(row.to);
            // One that is there after all is looked at below.
            if (code != ERROR_ALREADY_EXISTS) row.failure = refused_to("add the port " + named(row.to.name), code);
        }
        const Options& options = task_.command.migrate;
        if (row.failure.empty() && !options.to_standard) row.failure = check_port(task_.spooler, row.to);
        if (row.failure.empty() && !row.queue.empty()) {
            if (!journal_.write({Step::Kind::move, row.to, row.queue, row.from.name}, why_)) return false;
            row.failure = give_port(row.queue, row.from.name, row.to.name, options.with_jobs);
        }
        row.changed = row.failure.empty();
        return true;
    }

  private:
    const Task& task_;
    Journal& journal_;
    std::string& why_;
};

bool is_used(const std::vector<Queue>& queues, const Text& port) {
    return std::ranges::any_of(queues, [&](const Queue& queue) {
        const auto is_it = [&](const Text& name) { return same_name(name, port); };
        return is_it(queue.port_list) || std::ranges::any_of(queue.ports, is_it);
    });
}

std::string undo_move(const Step& step, bool with_jobs) {
    Text now;
    const DWORD code = read_port_of(step.queue, now);
    if (code == ERROR_INVALID_PRINTER_NAME) return std::string();  // the queue was deleted
    if (code != ERROR_SUCCESS) return refused_to("show the queue", code);
    if (same_name(now, step.from)) return std::string();
    return give_port(step.queue, step.port.name, step.from, with_jobs);
}

// The stored port of that name, none when there is none; false with the reason when that cannot be told.
bool find_stored(const Text& name, std::optional<Port>& found, std::string& why) {
    std::vector<Port> stored;
    why = refused_to("show the stored ports", read_own_ports(stored));
    const auto there = std::ranges::find_if(stored, [&](const Port& port) { return same_name(port.name, name); });
    found = there != stored.end() ? std::optional(*there) : std::nullopt;
    return why.empty();
}

std::string undo_add(const Task& task, const Step& step) {
    std::optional<Port> stored;
    std::string why;
    if (!find_stored(step.port.name, stored, why)) return why;
    if (!stored) return std::string();
    if (!same_printer(*stored, step.port)) return "it leads to " + printer_of(*stored) + " now and stays";
    std::vector<Queue> queues;
    if (const DWORD code = task.spooler.queues(queues)) return refused_to("list the queues", code);
    if (is_used(queues, step.port.name)) return "queues print to it, it stays";
    why = refused_to("delete the port", task.spooler.remove(step.port.name));
    if (!why.empty() || !find_stored(step.port.name, stored, why)) return why;
    return stored ? "it is still stored; restart the spooler, then repeat this" : "";
}

}  // namespace

void apply(const Task& task, std::vector<Row>& rows, Journal& journal, std::string& why) {
    const auto progress = task.progress(rows.size(), "done");
    Run run(task, journal, why);
    size_t finished = 0;
    std::vector<Text> added;
    for (Row& row : rows) {
        progress->show(++finished);
        if (!row.is_to_change()) continue;
        const bool adds = row.add && std::ranges::find(added, row.to.name) == added.end();
        if (!run.carry_out(row, adds)) return;
        if (adds && row.failure.empty()) added.push_back(row.to.name);  // otherwise its next queue tries again
        if (!row.failure.empty() && task.command.migrate.stop) return;
    }
}

std::vector<Undone> undo(const Task& task, const std::vector<Step>& steps) {
    const auto progress = task.progress(steps.size(), "undone");
    std::vector<Undone> undone;
    for (size_t i = steps.size(); i-- != 0;) {
        const Step& step = steps[i];
        const bool moved = step.kind == Step::Kind::move;
        undone.push_back({step, moved ? undo_move(step, task.command.migrate.with_jobs) : undo_add(task, step)});
        progress->show(undone.size());
    }
    return undone;
}

}  // namespace tsport::migrate
