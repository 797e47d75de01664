#include "tsport/migrate/apply.h"

#include <algorithm>
#include <optional>

#include "tsport/migrate/queue.h"
#include "tsport/migrate/stored_ports.h"

namespace tsport::migrate {

const char kUnknownPort[] = "the spooler does not know its new port yet";

namespace {

// Whether the spooler lets queues have the port, and it leads to the printer that it should. Empty when it does.
std::string check_port(const Spooler& spooler, Monitor monitor, const Port& port) {
    Port there;
    DWORD code = ERROR_SUCCESS;
    if (monitor == Monitor::own) {
        code = spooler.read(port.name, there);
    } else if (spooler.is_unknown(port.name)) {
        code = ERROR_UNKNOWN_PORT;
    } else {
        std::optional<StoredPort> stored;
        code = read_port(monitor, port.name, stored);
        if (stored) there = stored->port;
    }
    if (code == ERROR_UNKNOWN_PORT || code == ERROR_INVALID_PRINTER_NAME) return kUnknownPort;
    if (code == ERROR_SUCCESS && !same_printer(there, port)) return named(port.name) + " leads to " + printer_of(there);
    return refused_to("show the port " + named(port.name), code);
}

std::string undo_move(const Step& step, bool with_jobs) {
    Text now;
    const DWORD code = read_port_of(step.queue, now);
    if (code == ERROR_INVALID_PRINTER_NAME) return std::string();  // the queue was deleted
    if (code != ERROR_SUCCESS) return refused_to("show the queue", code);
    if (same_name(now, step.from)) return std::string();
    return give_port(step.queue, step.port.name, step.from, with_jobs);
}

// Whatever of the port is there: an addition that failed may have stored a part of it, which its monitor does not take
// for a port and cannot delete.
std::string undo_add(const Task& task, const Step& step) {
    const Monitor monitor = step.kind == Step::Kind::add_standard ? Monitor::standard : Monitor::own;
    std::optional<StoredPort> stored;
    const DWORD read = read_port(monitor, step.port.name, stored);
    if (read != ERROR_SUCCESS || !stored) return refused_to("show the stored port", read);
    if (stored->state == StoredPort::State::whole && !same_printer(stored->port, step.port)) {
        return "it leads to " + printer_of(stored->port) + " now and stays";
    }
    std::vector<Queue> queues;
    if (const DWORD code = task.spooler.queues(queues)) return refused_to("list the queues", code);
    const auto prints_to_it = [&](const Queue& queue) { return prints_to(queue, step.port.name); };
    if (std::ranges::any_of(queues, prints_to_it)) return "queues print to it, it stays";
    const Spooler& spooler = task.spooler;
    const DWORD code =
        monitor == Monitor::own ? spooler.remove(step.port.name) : spooler.remove_standard(step.port.name);
    const bool not_loaded = code == ERROR_FILE_NOT_FOUND || code == ERROR_UNKNOWN_PORT;
    if (code != ERROR_SUCCESS && !not_loaded) return refused_to("delete the port", code);
    return refused_to("delete what is stored of the port", delete_stored(monitor, step.port.name));
}

// False when the journal cannot be written; nothing was changed then.
bool carry_out(const Task& task, Row& row, bool adds, Journal& journal, std::string& why) {
    const Options& options = task.command.migrate;
    const Monitor monitor = options.to_standard ? Monitor::standard : Monitor::own;
    if (adds) {
        const bool own = monitor == Monitor::own;
        const Step step = {own ? Step::Kind::add : Step::Kind::add_standard, row.to, {}, {}};
        if (!journal.write(step, why)) return false;
        const DWORD code = own ? task.spooler.add(row.to) : task.spooler.add_standard(row.to);
        // One that is there after all is looked at below.
        if (code != ERROR_ALREADY_EXISTS) row.failure = refused_to("add the port " + named(row.to.name), code);
        if (!row.failure.empty()) undo_add(task, step);  // if that fails too, --undo does it
    }
    if (row.failure.empty()) row.failure = check_port(task.spooler, monitor, row.to);
    if (row.failure.empty() && !row.queue.empty()) {
        if (!journal.write({Step::Kind::move, row.to, row.queue, row.from.name}, why)) return false;
        row.failure = give_port(row.queue, row.from.name, row.to.name, options.with_jobs);
    }
    row.changed = row.failure.empty();
    return true;
}

}  // namespace

std::string apply(const Task& task, std::vector<Row>& rows, Journal& journal) {
    const auto progress = task.progress(rows.size(), "done");
    size_t finished = 0;
    std::string why;
    std::vector<Text> added;
    for (Row& row : rows) {
        progress->show(++finished);
        if (!row.is_to_change()) continue;
        const bool adds = row.add && std::ranges::find(added, row.to.name) == added.end();
        if (!carry_out(task, row, adds, journal, why)) return why;
        if (adds && row.failure.empty()) added.push_back(row.to.name);  // otherwise its next queue tries again
        if (!row.failure.empty() && task.command.migrate.stop) break;
    }
    return "";
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
