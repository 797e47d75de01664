#include "tsport/migrate/plan.h"

#include <algorithm>
#include <set>

#include "tsport/migrate/queue.h"
#include "tsport/migrate/stored_ports.h"
#include "tsport/ports/check.h"
#include "winapi/tcpxcv.h"
#include "winportmon/contract/rules.h"

namespace tsport::migrate {
namespace {

// What the plan is made from.
struct Server {
    std::vector<Queue> queues;
    std::multiset<Text, NameOrder> listed;  // by the spooler, the ports of all monitors
    std::vector<StoredPort> standard;
    std::vector<StoredPort> own;  // of this monitor
};

bool read_server(const Task& task, Server& server) {
    std::vector<SpoolerPort> ports;
    if (task.report_if_error(read_ports(Monitor::standard, server.standard), "show the Standard TCP/IP ports") ||
        task.report_if_error(read_ports(Monitor::own, server.own), "show the stored ports") ||
        task.report_if_error(task.spooler.queues(server.queues), "list the queues") ||
        task.report_if_error(task.spooler.ports(ports), "list the ports")) {
        return false;
    }
    for (const SpoolerPort& port : ports) server.listed.insert(port.name);
    for (std::vector<StoredPort>* const stored : {&server.standard, &server.own}) {
        for (StoredPort& port : *stored) {
            const bool several = server.listed.count(port.port.name) > 1;
            if (port.reason.empty() && several) port.reason = "several monitors have a port of this name";
        }
    }
    return true;
}

std::string queue_reason(const Queue& queue, const Port& port, bool with_jobs) {
    if (!same_name(queue.port_list, port.name)) return "it prints to several ports";
    if ((queue.status & PRINTER_STATUS_PENDING_DELETION) != 0) return "it is being deleted";
    return queue.jobs != 0 && !with_jobs ? waiting_to_text(queue.jobs) : std::string();
}

// -- Names for new ports ---------------------------------------------------------------------------------------------

// The pattern with what its words stand for.
Text expand(Text pattern, const Port& port) {
    const std::pair<Text, Text> words[] = {{W("{name}"), port.name},
                                           {W("{host}"), port.address},
                                           {W("{port}"), host::to_text(std::to_string(port.number))}};
    for (const auto& [word, value] : words) {
        for (size_t at = 0; (at = pattern.find(word, at)) != Text::npos; at += value.size()) {
            pattern.replace(at, word.size(), value);
        }
    }
    return pattern;
}

// Characters that no new name may have become "_"; blanks at the ends go, and a name of Windows' own is set apart.
Text mended(const Text& wanted) {
    Text name;
    for (const WCHAR character : wanted) {
        const bool unusual_blank = contract::IsBlank(character) && character != W(' ');
        const bool bad =
            character == W(',') || character == W('\\') || unusual_blank || contract::IsInvisible(character);
        name += bad ? W('_') : character;
    }
    const size_t first = name.find_first_not_of(W(' '));
    name = first == Text::npos ? Text() : name.substr(first, name.find_last_not_of(W(' ')) - first + 1);
    if (contract::NameFault(name) == contract::Fault::none || name.size() >= contract::kPortNameSize) return name;
    return Text(W("Port ")) + name;
}

// `number` tells names apart that would be the same: 1 is the first.
Text new_name(const Text& pattern, Port port, size_t number, size_t longest) {
    const Text end = number == 1 ? Text() : host::to_text(" " + std::to_string(number));
    const size_t most = longest - end.size();
    // The port's own name gives way, not what the pattern adds to it.
    for (;;) {
        const Text name = mended(expand(pattern, port));
        if (name.size() <= most) return name + end;
        if (port.name.empty() || pattern.find(W("{name}")) == Text::npos) return name.substr(0, most) + end;
        port.name.pop_back();
    }
}

// Chooses the port that takes a port's place: one that is there and leads to the same printer, or a new one. Of this
// monitor's only one of the new name is taken.
class NewPorts {
  public:
    NewPorts(const Server& server, const Options& options)
        : there_(options.to_standard ? server.standard : server.own), to_standard_(options.to_standard) {
        const char* const usual = to_standard_ ? "IP_{host}" : "{name} (Tessaron)";
        pattern_ = host::to_text(options.name.empty() ? usual : options.name);
        taken_.insert(server.listed.begin(), server.listed.end());
        for (const StoredPort& stored : there_) taken_.insert(stored.port.name);
    }

    void choose(const Port& from, Row& row) {
        if (to_standard_ && take_one_there(row, {})) return;
        if (to_standard_ && from.address.size() >= MAX_NETWORKNAME_LEN) {
            row.reason = "its address is too long for a Standard TCP/IP port";
            return;
        }
        row.add = true;
        row.to = from;
        const size_t longest = to_standard_ ? MAX_PORTNAME_LEN - 1 : contract::kPortNameSize - 1;
        for (size_t number = 1; number < 1000; ++number) {
            row.to.name = new_name(pattern_, from, number, longest);
            row.reason = new_name_fault(row.to.name);
            if (!row.is_to_change()) break;
            if (take_one_there(row, row.to.name) || taken_.insert(row.to.name).second) return;
        }
        row.to = Port();
        if (row.is_to_change()) row.reason = "no name is free for its new port";
    }

  private:
    // Of that name, or of any.
    bool take_one_there(Row& row, const Text& name) const {
        const auto found = std::ranges::find_if(there_, [&](const StoredPort& stored) {
            return stored.reason.empty() && same_printer(stored.port, row.from) &&
                   (name.empty() || same_name(stored.port.name, name));
        });
        if (found == there_.end()) return false;
        row.to = found->port;
        row.add = false;
        return true;
    }

    const std::vector<StoredPort>& there_;
    const bool to_standard_;
    Text pattern_;
    std::set<Text, NameOrder> taken_;
};

// -- The rows --------------------------------------------------------------------------------------------------------

// For a port that queues may leave.
void add_rows(const Options& options, const Server& server, StoredPort source, std::vector<Row>& rows) {
    const bool unlisted = source.reason.empty() && !server.listed.contains(source.port.name);
    if (unlisted) source.reason = "the spooler does not list this port";
    const size_t first = rows.size();
    for (const Queue& queue : server.queues) {
        if (!prints_to(queue, source.port.name)) continue;
        const std::string reason = queue_reason(queue, source.port, options.with_jobs);
        rows.push_back({queue.name, source.port, {}, false, source.reason.empty() ? reason : source.reason, {}});
    }
    if (rows.size() != first) return;
    const std::string unused = options.all ? "" : "no queue prints to it";
    rows.push_back({{}, source.port, {}, false, source.reason.empty() ? unused : source.reason, {}});
}

// Leaves alone what does not accept a connection.
void test_printers(const Task& task, std::vector<Row>& rows) {
    std::vector<Port> ports;
    for (const Row& row : rows) {
        if (row.is_to_change()) ports.push_back(row.from);
    }
    const auto progress = task.progress(ports.size(), "tested");
    const auto checks = check_printers(ports, std::chrono::seconds(5), [&](size_t done) { progress->show(done); });
    size_t next = 0;
    for (Row& row : rows) {
        if (!row.is_to_change()) continue;
        const contract::PrinterCheck& check = checks[next++];
        if (check.verdict != contract::Verdict::accepted) row.reason = "its printer " + to_text(check);
    }
}

}  // namespace

bool make_plan(const Task& task, std::vector<Row>& rows) {
    const Options& options = task.command.migrate;
    Server server;
    if (!read_server(task, server)) return false;
    for (const StoredPort& source : options.to_standard ? server.own : server.standard) {
        add_rows(options, server, source, rows);
    }
    const Text only = host::to_text(options.only);
    std::erase_if(rows, [&](const Row& row) {
        return !only.empty() && !matches(only, row.queue) && !matches(only, row.from.name);
    });
    if (rows.empty() && !only.empty()) {
        task.fail(not_there, "no queue or port matches " + named(only), "no-port");
        return false;
    }
    if (options.test) test_printers(task, rows);
    NewPorts new_ports(server, options);
    for (Row& row : rows) {
        if (!row.is_to_change()) continue;
        const Row* const before = std::find_if(rows.data(), &row, [&](const Row& other) {
            return !other.to.name.empty() && same_name(other.from.name, row.from.name);
        });
        if (before == &row) new_ports.choose(row.from, row);
        row.to = before->to;
        row.add = before->add;
        // A port without queues has nothing else to do.
        if (row.queue.empty() && !row.add && row.is_to_change()) row.reason = named(row.to.name) + " is there already";
    }
    return true;
}

}  // namespace tsport::migrate
