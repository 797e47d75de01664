// report: its help, its options, and what it prints. It works from log files alone, without a monitor.
#include <filesystem>
#include <fstream>

#include "tsport/answer.h"
#include "tsport/doctor/server.h"
#include "tsport/file.h"
#include "tsport/report/report.h"

namespace tsport {

const char report_help[] = R"(usage: tsport report [LOG...] [options]

Reports what became of the documents, from the monitor's logs: each with its times and its outcome, the causes of what
went wrong and what to do about them, sums of each printer, and what stands out. LOG is a file, a folder (the log in it
with all its numbered files, in order; the install folder will do), or - for the standard input; without LOG it is this
server's. Logs written with Debug=on distinguish documents; others show only what went wrong. A job that was sent again
is one document with several attempts.
Each line of the log is explained by LOG.html.

  --html FILE      also writes a page with charts, which any browser opens
  --json, --csv    for scripts, and spreadsheets (the documents alone)
  --ndjson         one object a line for each attempt, for log shippers
  --prometheus FILE  also writes metrics for the textfile collector of windows_exporter or node_exporter; counters go on
                   over rotations of the log (FILE.state)
  --since TIME     only documents that started then or later ...
  --until TIME     ... and before then: 2026-03-01, "2026-03-01 09:05", or 90m, 24h, 7d ago
  --printer NAME   only those of one printer, by its name or its address
  --job N          the history of one job, line by line, in words
  --rows N         the last N documents (default 40); the sums count all
  --check          exit status 1 when a document failed, was lost, or stands still

Exit status: 0 done, 1 see --check, 2 usage error, 3 a log cannot be read.

examples:
  tsport report
  tsport report --since 1h --check
  tsport report print-monitor.log --since 24h --html report.html
  tsport report print-monitor.log* --job 1234
)";

namespace {

command_line::Option time_option(const std::string& name, std::optional<report::Timestamp>& target) {
    return {name, "TIME", [&target, name](const std::string& value) {
                target = report::parse_time(value, report::local_now());
                return target
                           ? ""
                           : name + " takes a time like 2026-03-01, \"2026-03-01 09:05\", 90m, 24h or 7d, not " + value;
            }};
}

// The state is read and written with the metrics, which a collector may read at any moment.
bool write_prometheus(const std::string& path, const report::Report& report, std::string& why) {
    std::string state;
    std::string text;
    std::error_code error;
    const std::string state_path = path + ".state";
    const bool is_new = !std::filesystem::exists(host::path_of(state_path), error);
    if (!is_new && !read_file(state_path, state, why)) return false;
    if (!report::write_metrics(report, state, text, why)) {
        why = state_path + ": " + why;
        return false;
    }
    return write_file(path, text, why) && write_file(state_path, state, why);
}

}  // namespace

command_line::Options report_options(Command& command) {
    report::Options& options = command.report;
    const auto take_job = [&options](const std::string& value) {
        std::uint64_t number = 0;
        if (!host::parse_number(value, 0, UINT32_MAX, number)) return "--job takes a number, not " + value;
        options.job = static_cast<std::uint32_t>(number);
        return std::string();
    };
    return {command_line::text("--html", "FILE", options.html),
            command_line::text("--prometheus", "FILE", options.prometheus),
            command_line::flag("--ndjson", options.ndjson),
            command_line::flag("--csv", command.csv),
            time_option("--since", options.since),
            time_option("--until", options.until),
            command_line::text("--printer", "NAME", options.printer),
            {"--job", "N", take_job},
            command_line::flag("--check", options.check),
            command_line::number("--rows", 1, 1'000'000, options.rows)};
}

// A report goes out as it is written: it may be longer than what should be held in memory.
void report_logs(const Task& task) {
    report::Options options = task.command.report;
    const Sink& out = task.console.output;
    const bool for_people = !task.command.json && !task.command.csv && !options.ndjson;
    const auto report = std::make_unique<report::Report>();
    std::string why;
    if (options.since && options.until && *options.since >= *options.until) {
        return task.fail(bad_usage, "--until has to be later than --since", "usage");
    }
    if (options.logs.empty()) {
        options.logs = {doctor::find_own_base(why)};
        if (options.logs[0].empty()) return task.fail(refused, why, "file");
    }
    options.now = report::local_now();
    options.width = task.console.width;
    if (!read_logs(options, for_people ? out : Sink(), *report, why)) return task.fail(refused, why, "file");
    if (!options.html.empty()) {
        std::ofstream file(host::path_of(options.html), std::ios::binary);
        report::write_html(*report, [&file](std::string_view text) { file << text; });
        if (!file.flush()) return task.fail(refused, options.html + " cannot be written", "file");
    }
    if (!options.prometheus.empty() && !write_prometheus(options.prometheus, *report, why)) {
        return task.fail(refused, why, "file");
    }
    if (for_people) {
        if (options.job && report->sums.all().documents != 0) out("\n");
        write_text(*report, options, out);
    } else if (task.command.json) {
        write_json(*report, out);
    } else if (options.ndjson) {
        write_ndjson(*report, out);
    } else {
        write_csv(*report, out);
    }
    if (options.check && report->documents.has_trouble()) task.reply.status = not_there;
}

}  // namespace tsport
