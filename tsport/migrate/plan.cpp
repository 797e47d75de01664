#include "tsport/migrate/plan.h"

#include <algorithm>
#include <set>

#include "tsport/migrate/queue.h"
#include "tsport/migrate/stored_ports.h"
#include "tsport/ports/check.h"
#include "winportmon/contract/rules.h"

namespace tsport::migrate {
namespace {

// What the plan is made from.
struct Server {
    std::vector<Queue> queues;
    std::vector<SpoolerPort> spooler_ports;
    std::vector<StandardPort> standard;
    std::vector<Port> own;  // of this monitor
};

bool read_server(const Task& task, Server& server) {
    return !task.report_if_error(read_standard_ports(server.standard), "show the Standard TCP/IP ports") &&
           !task.report_if_error(read_own_ports(server.own), "show the stored ports") &&
           !task.report_if_error(task.spooler.queues(server.queues), "list the queues") &&
           !task.report_if_error(task.spooler.ports(server.spooler_ports), "list the ports");
}

bool prints_to(const Queue& queue, const Text& port) {
    const auto is_it = [&](const Text& name) { return same_name(name, port); };
    return is_it(queue.port_list) || std::ranges::any_of(queue.ports, is_it);
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
Text new_name(const Text& pattern, Port port, size_t number) {
    const Text end = number == 1 ? Text() : host::to_text(" " + std::to_string(number));
    const size_t most = contract::kPortNameSize - 1 - end.size();
    // The port's own name gives way, not what the pattern adds to it.
    for (;;) {
        const Text name = mended(expand(pattern, port));
        if (name.size() <= most) return name + end;
        if (port.name.empty() || pattern.find(W("{name}")) == Text::npos) return name.substr(0, most) + end;
        port.name.pop_back();
    }
}

// Chooses the port that takes a port's place: one that is there with that name and printer, or a new one.
class NewPorts {
  public:
    NewPorts(const Server& server, const Text& pattern) : own_(server.own), pattern_(pattern) {
        for (const SpoolerPort& port : server.spooler_ports) taken_.insert(port.name);
    }

    void choose(const Port& from, Row& row) {
        row.to = from;
        for (size_t number = 1; number < 1000; ++number) {
            row.to.name = new_name(pattern_, from, number);
            row.reason = new_name_fault(row.to.name);
            if (!row.is_to_change()) break;
            const auto there = std::ranges::find_if(own_, [&](const Port& port) {
                return same_name(port.name, row.to.name) && same_printer(port, row.to);
            });
            row.add = there == own_.end();
            if (!row.add) row.to = *there;
            if (!row.add || taken_.insert(row.to.name).second) return;
        }
        row.to = Port();
        if (row.is_to_change()) row.reason = "no name is free for its new port";
    }

  private:
    const std::vector<Port>& own_;
    const Text pattern_;
    std::set<Text, NameOrder> taken_;
};

// -- The rows --------------------------------------------------------------------------------------------------------

// A port that queues may leave, and why they stay; empty: they can leave.
using Source = StandardPort;

std::vector<Source> sources_of(const Server& server, bool to_standard) {
    std::vector<Source> sources;
    if (to_standard) {
        for (const Port& port : server.own) sources.push_back({port, {}});
        return sources;
    }
    for (Source source : server.standard) {
        const auto listed = std::ranges::count_if(
            server.spooler_ports, [&](const SpoolerPort& port) { return same_name(port.name, source.port.name); });
        if (source.reason.empty() && listed == 0) source.reason = "the spooler does not list this port";
        if (source.reason.empty() && listed > 1) source.reason = "several monitors have a port of this name";
        sources.push_back(source);
    }
    return sources;
}

// The Standard TCP/IP port that leads to the same printer.
void choose_standard(const Server& server, Row& row) {
    const auto found = std::ranges::find_if(server.standard, [&](const StandardPort& standard) {
        return standard.reason.empty() && same_printer(standard.port, row.from);
    });
    if (found != server.standard.end()) {
        row.to = found->port;
    } else {
        row.reason = "no raw Standard TCP/IP port leads to " + printer_of(row.from) + "; add one, then try again";
    }
}

void add_rows(const Options& options, const Server& server, const Source& source, std::vector<Row>& rows) {
    const size_t first = rows.size();
    for (const Queue& queue : server.queues) {
        if (!prints_to(queue, source.port.name)) continue;
        const std::string reason = queue_reason(queue, source.port, options.with_jobs);
        rows.push_back({queue.name, source.port, {}, false, source.reason.empty() ? reason : source.reason, {}});
    }
    if (rows.size() != first) return;
    const bool wanted = options.all && !options.to_standard;
    const std::string unused = wanted ? "" : "no queue prints to it";
    rows.push_back({{}, source.port, {}, false, source.reason.empty() ? unused : source.reason, {}});
}

// Leaves alone what does not accept a connection.
void test_printers(const Task& task, std::vector<Row>& rows) {
    std::vector<Row*> tested;
    std::vector<Port> ports;
    for (Row& row : rows) {
        if (!row.is_to_change()) continue;
        tested.push_back(&row);
        ports.push_back(row.from);
    }
    const auto progress = task.progress(ports.size(), "tested");
    const auto checks = check_printers(ports, std::chrono::seconds(5), [&](size_t done) { progress->show(done); });
    for (size_t i = 0; i < tested.size(); ++i) {
        const bool accepts = checks[i].verdict == contract::Verdict::accepted;
        if (!accepts) tested[i]->reason = "its printer " + to_text(checks[i]);
    }
}

}  // namespace

bool make_plan(const Task& task, std::vector<Row>& rows) {
    const Options& options = task.command.migrate;
    Server server;
    if (!read_server(task, server)) return false;
    for (const Source& source : sources_of(server, options.to_standard)) add_rows(options, server, source, rows);
    const Text only = host::to_text(options.only);
    std::erase_if(rows, [&](const Row& row) {
        return !only.empty() && !matches(only, row.queue) && !matches(only, row.from.name);
    });
    if (rows.empty() && !only.empty()) {
        task.fail(not_there, "no queue or port matches " + named(only), "no-port");
        return false;
    }
    if (options.test) test_printers(task, rows);
    NewPorts new_ports(server, host::to_text(options.name));
    for (Row& row : rows) {
        if (!row.is_to_change()) continue;
        const Row* const before = std::find_if(rows.data(), &row, [&](const Row& other) {
            return !other.to.name.empty() && same_name(other.from.name, row.from.name);
        });
        if (options.to_standard) {
            choose_standard(server, row);
        } else if (before != &row) {
            row.to = before->to;
            row.add = before->add;
        } else {
            new_ports.choose(row.from, row);
        }
        // A port without queues has nothing else to do.
        if (row.queue.empty() && !row.add && row.is_to_change()) row.reason = named(row.to.name) + " is there already";
    }
    return true;
}

}  // namespace tsport::migrate
