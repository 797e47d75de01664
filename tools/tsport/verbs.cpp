#include "tools/tsport/verbs.h"

#include "tools/tsport/answer.h"
#include "tools/tsport/commands.h"
#include "tools/tsport/output.h"

namespace tsport {

// -- Answers ---------------------------------------------------------------------------------------------------------

namespace {

void put_error(Answer& answer, bool json, Status status, const std::string& words, DWORD code) {
    answer.status = status;
    if (json) {
        answer.err += "{\"error\": " + quoted(host::to_text(words)) + ", \"code\": " + std::to_string(code) + "}\n";
    } else {
        answer.err += "tsport: " + words + "\n";
    }
}

}  // namespace

void Task::fail(Status status, const std::string& words, DWORD code) const {
    put_error(answer, command.json, status, words, code);
}

bool Task::failed(DWORD code, const std::string& deed) const {
    if (code == ERROR_SUCCESS) return false;
    std::string words = "the spooler refused to " + deed + ": " + host::error_in_words(code);
    if (code == ERROR_ACCESS_DENIED) words += " (this takes an administrator)";
    if (code == ERROR_ALREADY_EXISTS) words += " (the spooler has a port of that name)";
    fail(refused, words, code);
    return true;
}

bool Task::kept() const {
    std::string why;
    if (channel.keep(why)) return true;
    fail(refused, why);
    return false;
}

// -- Verbs -----------------------------------------------------------------------------------------------------------

namespace {

std::string named(const Text& name) {
    return "\"" + shown(name) + "\"";
}

std::string printer_of(const Port& port) {
    return shown(port.address) + " port " + std::to_string(port.number);
}

void no_such_port(const Task& task) {
    task.fail(not_there, "there is no port " + named(task.command.port.name));
}

// The port that the command names, as the monitor has it; false when that has been answered.
bool find_named(const Task& task, Port& port) {
    std::vector<Text> names;
    if (task.failed(task.channel.list(names), "list the ports")) return false;
    for (const Text& name : names) {
        if (!same_name(name, task.command.port.name)) continue;
        return !task.failed(read_port(task.channel, name, port), "show the port " + named(name));
    }
    no_such_port(task);
    return false;
}

void list(const Task& task) {
    std::vector<Port> ports;
    if (task.failed(read_ports(task.channel, ports), "show the ports")) return;
    if (task.command.json) {
        task.answer.out = in_json(ports) + "\n";
        return;
    }
    Rows rows = {{"NAME", "ADDRESS", "PORT"}};
    for (const Port& port : ports) rows.push_back(cells_of(port));
    task.answer.out = ports.empty() ? "no ports\n" : in_columns(rows);
}

void show(const Task& task) {
    Port port;
    if (!find_named(task, port)) return;
    const std::vector<std::string> cells = cells_of(port);
    std::string words = in_columns({{"name", cells[0]}, {"address", cells[1]}, {"port", cells[2]}});
    words.pop_back();
    task.say(words, in_json(port));
}

void add(const Task& task) {
    Port port = task.command.port;
    if (!task.command.number_given) port.number = default_number;
    if (task.failed(add_port(task.channel, port), "add the port " + named(port.name)) || !task.kept()) return;
    task.say("added " + named(port.name) + ": " + printer_of(port), "{\"added\": " + in_json(port) + "}");
}

void set(const Task& task) {
    Port before;
    if (!find_named(task, before)) return;
    Port port = before;
    port.address = task.command.port.address;
    if (task.command.number_given) port.number = task.command.port.number;
    if (port.number == 0 || port.number > largest_number) {
        task.fail(bad_usage,
                  "the port's number, " + std::to_string(port.number) + ", is not 1 to 65535: give PORT too");
        return;
    }
    if (task.failed(set_port(task.channel, port), "change the port " + named(port.name)) || !task.kept()) return;
    task.say("changed " + named(port.name) + ": " + printer_of(port) + " (was " + printer_of(before) + ")",
             "{\"changed\": " + in_json(port) + ", \"was\": " + in_json(before) + "}");
}

void remove(const Task& task) {
    const Text& name = task.command.port.name;
    const DWORD code = delete_port(task.channel, name);
    if (code == ERROR_FILE_NOT_FOUND) {
        no_such_port(task);
        return;
    }
    if (task.failed(code, "delete the port " + named(name)) || !task.kept()) return;
    task.say("deleted " + named(name), "{\"deleted\": " + quoted(name) + "}");
}

void test(const Task& task) {
    Port port = task.command.port;
    if (!task.command.number_given && !find_named(task, port)) return;
    bool reachable = false;
    if (task.failed(ask_whether_reachable(task.channel, port, reachable), "test " + printer_of(port))) return;
    task.answer.status = reachable ? done : not_there;
    task.say(printer_of(port) + (reachable ? " takes connections" : " cannot be reached"),
             "{\"address\": " + tsport::quoted(port.address) + ", \"port\": " + std::to_string(port.number) +
                 ", \"reachable\": " + (reachable ? "true" : "false") + "}");
}

void exists(const Task& task) {
    const Text& name = task.command.port.name;
    bool there = false;
    if (task.failed(ask_whether_exists(task.channel, name, there), "look for the port " + named(name))) return;
    task.answer.status = there ? done : not_there;
    task.say(named(name) + (there ? " exists" : " does not exist"),
             "{\"name\": " + quoted(name) + ", \"exists\": " + (there ? "true" : "false") + "}");
}

void do_verb(const Task& task) {
    switch (task.command.verb) {
        case Verb::list:
            return list(task);
        case Verb::show:
            return show(task);
        case Verb::add:
            return add(task);
        case Verb::set:
            return set(task);
        case Verb::remove:
            return remove(task);
        case Verb::test:
            return test(task);
        case Verb::exists:
            return exists(task);
        case Verb::export_ports:
            return export_ports(task);
        case Verb::import_ports:
            return import_ports(task);
        case Verb::diff:
            return diff_ports(task);
    }
}

std::unique_ptr<Channel> open_channel(const Command& command, std::string& why) {
    if (command.store.empty()) return open_installed(why);
    return open_hosted(command.library, command.store, why);
}

}  // namespace

Answer run(const std::vector<std::string>& arguments) {
    // Logs are read wherever they are: no monitor is asked.
    if (!arguments.empty() && arguments[0] == "report") return report_logs({arguments.begin() + 1, arguments.end()});
    Command command;
    Answer answer;
    std::string why;
    if (!parse_arguments(arguments, command, why)) {
        put_error(answer, command.json, bad_usage, why, 0);
        if (!command.json) answer.err += "Try tsport --help.\n";
        return answer;
    }
    if (!command.help.empty()) {
        answer.out = command.help;
        return answer;
    }
    const std::unique_ptr<Channel> channel = open_channel(command, why);
    if (channel == nullptr) {
        put_error(answer, command.json, refused, why, 0);
    } else {
        do_verb({command, *channel, answer});
    }
    return answer;
}

}  // namespace tsport
