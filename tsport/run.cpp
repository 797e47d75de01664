#include "tsport/run.h"

#include <algorithm>
#include <atomic>

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
    {RPC_S_SERVER_UNAVAILABLE, "no-spooler", " (is the print spooler running? net start spooler starts it)"},
};

}  // namespace

bool Task::report_if_error(DWORD code, const std::string& deed) const {
    if (code == ERROR_SUCCESS) return false;
    KnownError known = {code, "refused", ""};
    for (const KnownError& error : known_errors) known = error.code == code ? error : known;
    const char* const who =
        code == RPC_S_SERVER_UNAVAILABLE ? "the spooler does not answer the request to " : "the spooler refused to ";
    std::string hint = known.hint;
    if (code == RPC_S_SERVER_UNAVAILABLE && !spooler.server().empty()) {
        hint = " (is the print spooler running there? sc \\\\NAME query spooler tells)";
    }
    fail(refused, {who + deed + ": " + host::error_message(code) + hint, known.cause, code});
    return true;
}

bool Task::save_changes() const {
    std::string why;
    if (hosted == nullptr || hosted->keep(why)) return true;
    fail(refused, {why, "file"});
    return false;
}

std::unique_ptr<host::Progress> Task::progress(size_t steps, const char* deed) const {
    std::FILE* const stream = command.servers.size() <= 1 ? console.progress : nullptr;
    return std::make_unique<host::Progress>(host::Progress::Options{.stream = stream, .total = steps, .deed = deed});
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

// To try a printer by its address from here takes no monitor.
bool needs_monitor(const Command& command) {
    const bool printer_alone = command.verb->run == test && command.number_given && command.servers.empty();
    return command.verb->needs != Needs::nothing && !printer_alone;
}

void run_on(const Command& command, const Text& server, Hosted* hosted, const Console& console, Reply& reply) {
    const Spooler spooler(server);
    const Task task{command, spooler, hosted, reply, console};
    if (needs_monitor(command) && hosted == nullptr && !is_installed(spooler)) {
        task.fail(refused,
                  {"the port monitor \"" + shown(contract::kMonitorName) + "\" is not installed; " + installing_hint(),
                   "not-installed"});
        return;
    }
    command.verb->run(task);
}

void run_on_servers(const Command& command, const Console& console, std::vector<Reply>& replies) {
    const size_t count = command.servers.size();
    host::Progress progress(
        {.stream = count > 1 ? console.progress : nullptr, .total = count, .deed = "servers have answered"});
    std::atomic<size_t> finished{0};
    for_each_at_once(count, [&](size_t at) {
        run_on(command, command.servers[at], nullptr, console, replies[at]);
        progress.show(++finished);
    });
}

// -- The answer ------------------------------------------------------------------------------------------------------

std::string to_text(const Error& error) {
    const std::string faults = to_text(error.faults, error.file);
    const bool on_one_line = error.faults.size() == 1 && error.faults[0].line == 0;
    return error.message + (error.message.empty() || faults.empty() ? "" : on_one_line ? ": " : ":\n") + faults;
}

void write_members(JsonWriter& json, const Error& error, const Fault& fault) {
    json.member("error", fault.why);
    json.member("code", error.code);
    json.member("cause", error.cause);
    if (fault.line == 0) return;
    json.member("file", error.file);
    json.member("line", fault.line);
    json.member("column", fault.column);
}

// One shape for all verbs and any number of servers; docs/JSON.md describes it.
std::string json_answer(const Command& command, const std::vector<Reply>& replies) {
    return json_line([&](JsonWriter& json) {
        // An array of what each reply adds to it; `add` gets the members of one object.
        const auto write_array = [&](const char* name, const auto& contents) {
            json.array(name, [&] {
                for (size_t i = 0; i < replies.size(); ++i) {
                    contents(replies[i], [&](const JsonMembers& members) {
                        json.object([&] {
                            if (!command.servers.empty()) json.member("server", command.servers[i]);
                            members(json);
                        });
                    });
                }
            });
        };
        json.member("version", 1u);
        json.member("verb", command.verb != nullptr ? command.verb->name : "");
        write_array("results", [](const Reply& reply, const auto& add) {
            for (const JsonMembers& members : reply.json_objects) add(members);
        });
        write_array("warnings", [&](const Reply& reply, const auto& add) {
            if (!reply.warning.empty()) add([&](JsonWriter&) { json.member("warning", reply.warning); });
        });
        write_array("errors", [&](const Reply& reply, const auto& add) {
            const Error& error = reply.error;
            const std::vector<Fault> whole = {{0, 0, error.message}};
            for (const Fault& fault : error.faults.empty() ? whole : error.faults) {
                if (!fault.why.empty()) add([&](JsonWriter&) { write_members(json, error, fault); });
            }
        });
    });
}

// One table for all servers.
void answer_as_text(const Command& command, const std::vector<Reply>& replies, std::string& out, std::string& err) {
    Rows rows;
    std::vector<std::pair<std::string, std::string>> messages;  // each once, with the servers that it is about
    const auto note = [&](const std::string& message, const std::string& server) {
        const auto known =
            std::find_if(messages.begin(), messages.end(), [&](const auto& other) { return other.first == message; });
        if (known != messages.end()) known->second += ", " + server;
        if (known == messages.end() && !message.empty()) messages.emplace_back(message, server);
    };
    for (size_t i = 0; i < replies.size(); ++i) {
        const Reply& reply = replies[i];
        const std::string server = command.servers.empty() ? "" : shown(command.servers[i]);
        const auto add_row = [&](const std::vector<std::string>& row, const std::string& first) {
            std::vector<std::string>& added = rows.emplace_back();
            if (!server.empty()) added.push_back(first);
            added.insert(added.end(), row.begin(), row.end());
        };
        if (rows.empty() && !reply.header.empty() && !reply.rows.empty()) add_row(reply.header, "SERVER");
        for (const auto& row : reply.rows) add_row(row, server);
        if (!reply.summary.empty() && !server.empty()) add_row({reply.summary}, server);
        note(to_text(reply.error), server);
        note(reply.warning, server);
    }
    out += in_columns(rows);
    if (command.servers.empty() && !replies[0].summary.empty()) out += replies[0].summary + "\n";
    for (const auto& [message, of] : messages) err += "tsport: " + of + (of.empty() ? "" : ": ") + message + "\n";
}

Answer wrong_line(const Command& command, const std::string& why) {
    if (!command.json) return {bad_usage, "", "tsport: " + why + "\nTry tsport --help.\n"};
    std::vector<Reply> replies(1);
    replies[0].error = {why, "usage"};
    Command nowhere;
    nowhere.verb = command.verb;
    return {bad_usage, json_answer(nowhere, replies), ""};
}

}  // namespace

Answer run(const std::vector<std::string>& words, const Console& console) {
    Command command;
    Answer answer;
    std::string why;
    if (!parse_arguments(words, command, why)) return wrong_line(command, why);
    if (!command.text.empty()) return {done, command.text, ""};
    const bool one_output = command.verb->run == export_ports || (command.verb->run == list && command.csv);
    if (command.servers.size() > 1 && (one_output || command.file == "-")) {
        return wrong_line(command, "one file cannot serve several servers here; name one server");
    }
    std::vector<Reply> replies(std::max<size_t>(1, command.servers.size()));
    if (!command.servers.empty()) {
        run_on_servers(command, console, replies);
    } else if (command.store.empty() || !needs_monitor(command)) {
        run_on(command, Text(), nullptr, console, replies[0]);
    } else if (Hosted hosted; hosted.load(command, why)) {
        run_on(command, Text(), &hosted, console, replies[0]);
    } else {
        replies[0].status = refused;
        replies[0].error = {why, "store"};
    }
    bool has_payload = false;
    for (const Reply& reply : replies) {
        answer.status = std::max(answer.status, reply.status);
        answer.out += reply.payload;
        has_payload = has_payload || reply.has_payload;
    }
    std::string& out = has_payload ? answer.err : answer.out;  // messages must not mix with the data
    const bool failed = !to_text(replies[0].error).empty();
    if (!command.json) {
        answer_as_text(command, replies, out, answer.err);
    } else if (failed || command.verb->needs != Needs::nothing || !replies[0].json_objects.empty()) {
        // report, watch and doctor write their own
        (failed ? answer.out : out) += json_answer(command, replies);
    }
    return answer;
}

}  // namespace tsport
