#include <algorithm>
#include <filesystem>
#include <thread>

#include "common/file_names.h"
#include "tsport/answer.h"
#include "tsport/doctor/server.h"
#include "tsport/report/texts.h"
#include "tsport/watch/activities.h"
#include "tsport/watch/follower.h"

namespace tsport {

const char watch_help[] = R"(usage: tsport watch [LOG] [--printer NAME] [--once] [--at TIME] [--json]

Shows what the ports do now, from the monitor's log as it grows: each document with its printer, job and phase (checking,
held, connecting, sending, closing), since when, bytes and attempts; above them what needs somebody: a printer that takes
nothing for 30 seconds, a job held for more than 3 minutes or sent for the third time, printers that refused within the
last 10 minutes and have not printed since. On a terminal the screen is drawn anew each second; otherwise a line is
written for each change. Ctrl+C ends it.

LOG is the log or the folder it is in; on a print server it is found when left out. It is opened for a moment each second
and shared, so that it can be rotated. With Debug=off the log does not show documents under way.

  --printer NAME   only this printer
  --once           what is so at this moment, then ends
  --at TIME        of a copied log, with --once: as if it were then, such as "2026-03-01 09:05:30"
  --json           one object a line: what is under way, then each change

Exit status: 0 done, with --once: nothing needs anybody; 1 with --once: something does; 2 usage error; 3 the log cannot be
read.

examples:
  tsport watch
  tsport watch --once --json
  tsport watch C:\copy\win --once --at "2026-03-01 09:05:30"
)";

namespace {

using report::Timestamp;
using watch::Activities;
using watch::Activity;
using watch::Attention;

class Screen {
  public:
    Screen(const Command& command, const Console& console)
        : command_(command), console_(console), activities_([this](const Activity& activity, bool ended) {
              if (live_) write_change(activity, ended);
          }) {}

    bool look(watch::Follower& follower, Timestamp now, std::string& why) {
        now_ = now;
        return follower.look([this](std::string_view line) { activities_.add(line); }, why);
    }
    // From now on each change is written.
    void go_live() {
        live_ = true;
        write_new_attention(false);
    }

    // All that is under way.
    void write_all() {
        if (!command_.json) return console_.output(page());
        for (const auto& [thread, activity] : activities_.all()) write_change(activity, false);
        for (const auto& [printer, refusal] : activities_.refusals(now_)) {
            if (!command_.report.printer.empty() && printer != command_.report.printer) continue;
            console_.output(json_line([&](JsonWriter& json) {
                json.member("version", 1u);
                json.member("time", report::to_text(now_));
                json.member("printer", printer);
                json.member("phase", "refusing");
                json.member("cause", refusal.text);
                json.member("times", refusal.times);
            }));
        }
    }
    // What has come to need somebody without a line in the log.
    void write_new_attention(bool write = true) {
        std::map<std::uint32_t, size_t> known;
        for (const auto& [thread, activity] : activities_.all()) {
            known[thread] = activities_.attention_to(activity, now_).size();
            if (write && known[thread] > known_[thread]) write_change(activity, false);
        }
        known_ = std::move(known);
    }
    bool needs_somebody() const { return !activities_.attention(now_, command_.report.printer).empty(); }

    // The table for people.
    std::string page() const {
        std::string text = "tsport watch, " + report::second_text(now_) + "\n";
        Rows lines;
        for (const Attention& attention : activities_.attention(now_, command_.report.printer)) {
            lines.push_back({"! " + std::string(attention.id), attention.text});
        }
        text += in_columns(lines, console_.width);
        Rows rows = {{"PRINTER", "JOB", "PORT", "PHASE", "SINCE", "SENT", "SPEED", "ATTEMPT"}};
        for (const auto& [thread, activity] : activities_.all()) {
            if (is_wanted(activity)) rows.push_back(row_of(activity));
        }
        text +=
            rows.size() > 1 ? "\n" + in_columns(rows, console_.width, {2, 6, 5, 1}) : "\nno document is under way\n";
        if (!activities_.detailed()) return text + in_columns({{"the log has no lines yet"}}, console_.width);
        const char blind[] =
            "the log is written with Debug=off: it does not show documents under way, only those that failed";
        return *activities_.detailed() ? text : text + in_columns({{blind}}, console_.width);
    }

  private:
    std::string text_of(report::TextId id) const { return activities_.texts()[id]; }
    bool is_wanted(const Activity& activity) const {
        return command_.report.printer.empty() || text_of(activity.document.printer) == command_.report.printer;
    }
    std::string phase_text(const Activity& activity) const {
        const std::string held_for = text_of(activity.document.held_for);
        const bool held = activity.phase == watch::Phase::held && !held_for.empty();
        return watch::name_of(activity.phase) + (held ? " for " + held_for : "");
    }
    std::vector<std::string> row_of(const Activity& activity) const {
        const report::Document& document = activity.document;
        const double seconds = report::elapsed_ms(document.start, now_) / 1000.0;
        return {text_of(document.printer),
                document.has_job ? std::to_string(document.job) : "-",
                text_of(document.port),
                phase_text(activity),
                report::duration_text(report::elapsed_ms(activity.since, now_)),
                host::size_to_text(document.sent),
                seconds > 0 && document.sent != 0 ? host::rate_to_text(document.sent, seconds) : "-",
                std::to_string(document.attempt)};
    }
    void write_change(const Activity& activity, bool ended) {
        if (!is_wanted(activity)) return;
        const report::Document& document = activity.document;
        const std::vector<Attention> attention =
            ended ? std::vector<Attention>() : activities_.attention_to(activity, now_);
        if (!command_.json) {
            std::string line = report::to_text(now_).substr(11, 8) + "  " + text_of(document.printer) +
                               (document.has_job ? ", job " + std::to_string(document.job) : "") + ": ";
            line += ended ? report::info_of(document.outcome).text : phase_text(activity).c_str();
            const std::string cause = ended ? report::cause_text(document, activities_.texts()) : "";
            line += cause.empty() ? "" : ": " + cause;
            for (const Attention& each : attention) line += "  ! " + each.text;
            return console_.output(line + "\n");
        }
        console_.output(json_line([&](JsonWriter& json) {
            json.member("version", 1u);
            json.member("time", report::to_text(now_));
            json.member("printer", text_of(document.printer));
            json.member("port", text_of(document.port));
            json.member("address", text_of(document.address));
            json.member("job", document.has_job ? std::optional(document.job) : std::nullopt);
            json.member("attempt", std::uint32_t{document.attempt});
            json.member("bytes", document.sent);
            json.member("started", report::to_text(document.start));
            if (ended) {
                json.member("phase", "ended");
                json.member("outcome", report::info_of(document.outcome).id);
                if (const auto cause = document.cause()) json.member("cause", report::info_of(*cause).id);
                return;
            }
            json.member("phase", watch::name_of(activity.phase));
            json.member("since", report::to_text(activity.since));
            const auto age = std::chrono::duration_cast<std::chrono::seconds>(now_ - activity.since).count();
            json.member("seconds", static_cast<std::uint64_t>(std::max<std::int64_t>(age, 0)));
            if (document.held_for != 0) json.member("held_for", text_of(document.held_for));
            json.array("attention", [&] {
                for (const Attention& each : attention) json.value(each.id);
            });
        }));
    }

    const Command& command_;
    const Console& console_;
    Timestamp now_;
    bool live_ = false;
    std::map<std::uint32_t, size_t> known_;  // of a document: how much of it needed somebody
    Activities activities_;
};

// The log that was named, or this server's; "" with the reason.
std::string find_log(const Command& command, std::string& why) {
    std::string path = command.file.empty() ? doctor::find_own_base(why) : command.file;
    if (path.empty()) return "";
    std::error_code error;
    if (std::filesystem::is_directory(host::path_of(path), error)) path += std::string("/") + kLogFileName;
    why = path + " is not there";
    return std::filesystem::is_regular_file(host::path_of(path), error) ? path : "";
}

}  // namespace

command_line::Options watch_options(Command& command) {
    const auto at = [&command](const std::string& value) {
        command.report.until = report::parse_time(value, report::local_now());
        return command.report.until ? "" : "--at takes a time like \"2026-03-01 09:05:30\", not " + value;
    };
    return {command_line::text("--printer", "NAME", command.report.printer),
            command_line::flag("--once", command.once),
            {"--at", "TIME", at}};
}

void watch_log(const Task& task) {
    const Command& command = task.command;
    std::string why;
    const std::string log = find_log(command, why);
    if (log.empty()) return task.fail(refused, why, "file");
    watch::Follower follower(log);
    Screen screen(command, task.console);
    const auto now = [&] { return command.once && command.report.until ? *command.report.until : report::local_now(); };
    if (!screen.look(follower, now(), why)) return task.fail(refused, why, "file");
    const bool draws = !command.once && !command.json && task.console.progress != nullptr;
    if (!draws) screen.write_all();
    if (command.once) {
        task.reply.status = screen.needs_somebody() ? not_there : done;
        return;
    }
    draws ? use_escape_sequences() : screen.go_live();
    for (;;) {
        if (draws) task.console.output("\x1b[H\x1b[2J" + screen.page());
        std::fflush(stdout);
        std::this_thread::sleep_for(std::chrono::seconds(1));
        if (!screen.look(follower, now(), why)) return task.fail(refused, why, "file");
        if (!draws) screen.write_new_attention();
    }
}

}  // namespace tsport
