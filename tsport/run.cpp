#include "tsport/run.h"

#include <algorithm>

#include "tsport/answer.h"
#include "tsport/ports/check.h"
#include "tsport/verb.h"
#include "winportmon/contract/names.h"

namespace tsport {

// -- Task ------------------------------------------------------------------------------------------------------------

namespace {

struct KnownError {
    DWORD code;
    const char* cause;  // for scripts
    const char* hint;
};
constexpr KnownError known_errors[] = {
    {ERROR_ACCESS_DENIED, "access", " (administrator rights are needed)"},
    {ERROR_ALREADY_EXISTS, "exists", " (the spooler has a port of that name)"},
    {RPC_S_SERVER_UNAVAILABLE, "no-spooler", " (is the print spooler there running? net start spooler starts it)"},
};

}  // namespace

bool Task::report_if_error(DWORD code, const std::string& deed) const {
    if (code == ERROR_SUCCESS) return false;
    KnownError known = {code, "refused", ""};
    for (const KnownError& error : known_errors) known = error.code == code ? error : known;
    const char* const who =
        code == RPC_S_SERVER_UNAVAILABLE ? "the spooler does not answer the request to " : "the spooler refused to ";
    fail(refused, who + deed + ": " + host::error_message(code) + known.hint, known.cause, code);
    return true;
}

bool Task::read(const std::vector<Text>& names, std::vector<Port>& ports) const {
    if (hosted == nullptr) return !report_if_error(spooler.read(names, ports), "show the ports");
    if (hosted->read(names, ports)) return true;
    fail(refused, "the library's ports cannot be read", "store");
    return false;
}

bool Task::save_changes() const {
    std::string why;
    if (hosted == nullptr || hosted->keep(why)) return true;
    fail(refused, why, "file");
    return false;
}

std::unique_ptr<host::Progress> Task::progress(size_t steps, const char* deed) const {
    host::Progress::Options options;
    if (command.servers.size() <= 1) options.stream = console.progress;
    options.total = steps;
    options.deed = deed;
    return std::make_unique<host::Progress>(options);
}

// -- The verb on one server ------------------------------------------------------------------------------------------

namespace {

// Whether the server has the monitor at all; when it cannot be asked, the verb will find out what is wrong.
bool is_installed(const Spooler& spooler) {
    std::vector<Text> names;
    if (spooler.monitors(names) != ERROR_SUCCESS) return true;
    return std::any_of(names.begin(), names.end(),
                       [](const Text& name) { return same_name(name, contract::kMonitorName); });
}

void run_on(const Command& command, const Text& server, Hosted* hosted, const Console& console, Reply& reply) {
    const Spooler spooler(server);
    const Task task{command, spooler, hosted, reply, console};
    if (command.verb->needs != Needs::nothing && hosted == nullptr && !is_installed(spooler)) {
        task.fail(refused,
                  "the port monitor \"" + shown(contract::kMonitorName) + "\" is not installed; " + installing_hint(),
                  "not-installed");
        return;
    }
    command.verb->run(task);
}

void run_on_servers(const Command& command, const Console& console, std::vector<Reply>& replies) {
    constexpr size_t at_once = 16;
    for_each_at_once(
        command.servers.size(), [&](size_t at) { run_on(command, command.servers[at], nullptr, console, replies[at]); },
        at_once);
}

void run_hosted(const Command& command, const Console& console, Reply& reply) {
    Hosted hosted;
    Hosted::Options options;
    options.library = command.library;
    options.store = command.store;
    options.for_changes = command.verb->needs == Needs::changing && !command.dry_run;
    options.wait = std::chrono::seconds(command.wait_seconds);
    std::string why;
    if (hosted.load(options, why)) {
        run_on(command, Text(), &hosted, console, reply);
    } else {
        reply.status = refused;
        reply.error = {why, "store", 0};
    }
}

// -- The answer ------------------------------------------------------------------------------------------------------

JsonMembers members_of(const Error& error) {
    return json_error(error.message, error.code, error.cause);
}

// The object with one more member in front.
JsonMembers of_server(const Text& server, const JsonMembers& object) {
    return [=](JsonWriter& json) {
        json.member("server", server);
        object(json);
    };
}

std::string json_line(const std::vector<JsonMembers>& objects) {
    std::string text;
    {
        JsonWriter json([&text](std::string_view piece) { text += piece; });
        json.array([&] {
            for (const JsonMembers& members : objects) json.object([&] { members(json); });
        });
    }
    return text + "\n";
}

void answer_as_json(const Reply& reply, Answer& answer) {
    std::string& to = reply.has_payload ? answer.err : answer.out;
    if (!reply.error.message.empty()) {
        answer.out += json_line(members_of(reply.error));
    } else if (reply.array) {
        to += json_line(reply.json_objects);
    } else if (!reply.json_objects.empty()) {
        to += json_line(reply.json_objects[0]);
    }
}

void answer_as_text(const Reply& reply, Answer& answer) {
    std::string& to = reply.has_payload ? answer.err : answer.out;
    Rows rows = reply.rows;
    if (!reply.header.empty() && !rows.empty()) rows.insert(rows.begin(), reply.header);
    to += in_columns(rows);
    if (!reply.summary.empty()) to += reply.summary + "\n";
    if (!reply.error.message.empty()) answer.err += "tsport: " + reply.error.message + "\n";
}

// One table or one array for all servers.
void answer_for_servers(const Command& command, const std::vector<Reply>& replies, Answer& answer) {
    std::vector<JsonMembers> objects;
    Rows rows;
    for (size_t i = 0; i < replies.size(); ++i) {
        const Reply& reply = replies[i];
        const Text& server = command.servers[i];
        const auto add_row = [&](std::vector<std::string> row) {
            row.insert(row.begin(), shown(server));
            rows.push_back(std::move(row));
        };
        answer.status = std::max(answer.status, reply.status);
        if (rows.empty() && !reply.header.empty()) {
            rows.push_back(reply.header);
            rows.back().insert(rows.back().begin(), "SERVER");
        }
        for (const auto& row : reply.rows) add_row(row);
        if (!reply.summary.empty()) add_row({reply.summary});
        for (const JsonMembers& object : reply.json_objects) objects.push_back(of_server(server, object));
        if (reply.error.message.empty()) continue;
        objects.push_back(of_server(server, members_of(reply.error)));
        if (!command.json) answer.err += "tsport: " + shown(server) + ": " + reply.error.message + "\n";
        add_row({reply.error.cause == "no-spooler" ? "cannot be reached" : "failed, see below"});
    }
    answer.out = command.json ? json_line(objects) : in_columns(rows);
}

Answer wrong_line(const Command& command, const std::string& why) {
    Answer answer;
    answer.status = bad_usage;
    if (command.json) {
        answer.out = json_line(json_error(why, 0, "usage"));
    } else {
        answer.err = "tsport: " + why + "\nTry tsport --help.\n";
    }
    return answer;
}

}  // namespace

Answer run(const std::vector<std::string>& words, const Console& console) {
    Arguments arguments;
    Answer answer;
    std::string why;
    const Command& command = arguments.command;
    if (!parse_arguments(words, arguments, why)) return wrong_line(command, why);
    if (!arguments.text.empty()) {
        answer.out = arguments.text;
        return answer;
    }
    if (command.servers.size() > 1 && !command.file.empty() &&
        (command.verb->run == export_ports || command.file == "-")) {
        return wrong_line(command, "one file cannot serve several servers here; name one server");
    }
    if (!command.servers.empty() && command.verb->needs != Needs::nothing) {
        std::vector<Reply> replies(command.servers.size());
        run_on_servers(command, console, replies);
        answer_for_servers(command, replies, answer);
        for (const Reply& reply : replies) answer.out = reply.has_payload ? reply.payload : answer.out;
        return answer;
    }
    Reply reply;
    if (command.store.empty() || command.verb->needs == Needs::nothing) {
        run_on(command, Text(), nullptr, console, reply);
    } else {
        run_hosted(command, console, reply);
    }
    answer.status = reply.status;
    answer.out = reply.payload;
    (command.json ? answer_as_json : answer_as_text)(reply, answer);
    return answer;
}

}  // namespace tsport
