#include <algorithm>

#include "tsport/migrate/apply.h"

namespace tsport::migrate {
namespace {

const char* state_of(const Row& row, bool applied) {
    if (!row.is_to_change()) return "left alone";
    if (!row.failure.empty()) return "failed";
    return row.changed ? "changed" : applied ? "not reached" : "to change";
}

std::string sentence(const Row& row, bool applied) {
    const std::string state = state_of(row, applied);
    if (!row.why().empty()) return state + ": " + row.why();
    if (state == "changed") return row.queue.empty() ? "added" : "moved";
    return state != "to change" ? state : row.queue.empty() ? "add" : "move";
}

void show(const Task& task, const std::vector<Row>& rows, bool applied) {
    Reply& reply = task.reply;
    reply.header = {"QUEUE", "PORT", "ADDRESS", "NUMBER", "NEW PORT", applied ? "RESULT" : "PLAN"};
    for (const Row& row : rows) {
        reply.rows.push_back({row.queue.empty() ? "-" : shown(row.queue), shown(row.from.name), shown(row.from.address),
                              std::to_string(row.from.number), row.is_to_change() ? shown(row.to.name) : "-",
                              sentence(row, applied)});
        reply.json_objects.push_back([row, applied](JsonWriter& json) {
            json.member("queue", row.queue.empty() ? std::nullopt : std::optional(row.queue));
            write_member(json, "from", row.from);
            if (row.is_to_change()) write_member(json, "to", row.to);
            json.member("state", std::string_view(state_of(row, applied)));
            if (!row.why().empty()) json.member("reason", row.why());
        });
    }
}

size_t count(const auto& rows, auto counts) {
    return static_cast<size_t>(std::count_if(rows.begin(), rows.end(), counts));
}

std::string sum(size_t number, const std::string& what) {
    return std::to_string(number) + " " + what;
}

void say_plan(const Task& task, const std::vector<Row>& rows, size_t to_change) {
    show(task, rows, false);
    task.reply.summary = sum(to_change, "to change, ") + sum(rows.size() - to_change, "left alone");
    if (to_change != 0) task.reply.summary += "; nothing was changed yet: --apply does it";
}

void say_result(const Task& task, const std::vector<Row>& rows, const std::string& why) {
    show(task, rows, true);
    const size_t changed = count(rows, [](const Row& row) { return row.changed; });
    const size_t failed = count(rows, [](const Row& row) { return !row.failure.empty(); });
    const size_t left = count(rows, [](const Row& row) { return !row.is_to_change(); });
    const size_t unknown = count(rows, [](const Row& row) { return row.failure == kUnknownPort; });
    const std::string& journal = task.command.migrate.journal;
    task.reply.summary = sum(changed, "changed, ") + sum(failed, "failed, ") + sum(left, "left alone") + "; --undo " +
                         journal + " puts everything back";
    if (!why.empty()) return task.fail(refused, why, "file");
    if (changed + left == rows.size()) return;
    std::string message =
        sum(rows.size() - changed - left, "not changed; each of these queues prints to the port it had");
    if (unknown != 0) {
        message +=
            "; restart the spooler when nothing is printing (net stop spooler /y, net start spooler), so that it "
            "knows the new ports, then repeat this command";
    }
    task.fail(refused, message, "refused");
}

void undo_all(const Task& task) {
    Reply& reply = task.reply;
    Journal journal;
    std::string why;
    if (!journal.open(task.command.migrate.undo, why)) return task.fail(bad_usage, why, "file");
    const std::vector<Undone> undone = undo(task, journal.steps());
    const size_t failed = count(undone, [](const Undone& one) { return !one.reason.empty(); });
    reply.header = {"QUEUE", "PORT", "RESULT"};
    for (const Undone& one : undone) {
        const bool added = one.step.kind != Step::Kind::move;
        const std::string done = added ? "deleted" : "moved back";
        reply.rows.push_back({added ? "-" : shown(one.step.queue), shown(added ? one.step.port.name : one.step.from),
                              one.reason.empty() ? done : "failed: " + one.reason});
        reply.json_objects.push_back([one, added](JsonWriter& json) {
            json.member("queue", added ? std::nullopt : std::optional(one.step.queue));
            json.member("port", added ? one.step.port.name : one.step.from);
            json.member("undone", one.reason.empty());
            if (!one.reason.empty()) json.member("reason", std::string_view(one.reason));
        });
    }
    reply.summary = sum(undone.size() - failed, "undone");
    if (failed == 0 && !undone.empty() && !journal.write_undone(why)) return task.fail(refused, why, "file");
    if (failed != 0)
        task.fail(refused, sum(failed, "could not be undone; repeat it when the reason is gone"), "refused");
}

}  // namespace

command_line::Options options(Command& command) {
    Options& options = command.migrate;
    return {command_line::flag("--apply", options.apply),
            command_line::text("--undo", "FILE", options.undo),
            command_line::flag("--to-standard", options.to_standard),
            command_line::text("--only", "PATTERN", options.only),
            command_line::flag("--all", options.all),
            command_line::flag("--test", options.test),
            command_line::flag("--with-jobs", options.with_jobs),
            command_line::flag("--stop", options.stop),
            command_line::text("--name", "PATTERN", options.name),
            command_line::text("--journal", "FILE", options.journal)};
}

void migrate(const Task& task) {
    const Options& options = task.command.migrate;
    if (!options.undo.empty()) return undo_all(task);
    std::vector<Row> rows;
    if (!make_plan(task, rows)) return;
    const size_t to_change = count(rows, [](const Row& row) { return row.is_to_change(); });
    if (!options.apply || to_change == 0) return say_plan(task, rows, to_change);
    Journal journal;
    std::string why;
    if (!journal.open(options.journal, why)) return task.fail(bad_usage, why, "file");
    say_result(task, rows, apply(task, rows, journal));
}

}  // namespace tsport::migrate
