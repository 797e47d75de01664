#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>

#include "common/file_names.h"
#include "host/text.h"
#include "tsport/doctor/base.h"
#include "tsport/report/report.h"

namespace tsport::doctor {
namespace {

namespace fs = std::filesystem;

// Calls for each complete line of the log, with the text too; of a large one for those at its end, as older ones are
// the report's.
template <typename Take>
void for_each_line(const std::string& name, Take take) {
    constexpr std::streamoff most = 16 << 20;
    std::ifstream log(host::path_of(name), std::ios::binary | std::ios::ate);
    log.seekg(std::max<std::streamoff>(log.tellg() - most, 0));
    report::LineReader reader(log);
    for (size_t number = 1; reader.next(); ++number) {
        report::LogLine line;
        if (report::parse_line(reader.line(), line) == report::LineKind::complete) take(reader.line(), line, number);
    }
}

// The errors within a day before `now`, or before the last line, by the report's causes.
void check_errors(const std::string& name, std::optional<report::Timestamp> now, Findings& findings,
                  std::optional<report::Timestamp>& last_line) {
    for_each_line(name, [&](std::string_view, const report::LogLine& line, size_t) { last_line = line.time; });
    if (!last_line) return;
    const report::Options options;
    report::Report report;
    report::Collector collector(options, report);
    bool any_error = false;
    for_each_line(name, [&](std::string_view text, const report::LogLine& line, size_t number) {
        if (line.time < now.value_or(*last_line) - std::chrono::days(1)) return;
        // A log that is created by the line about itself.
        if (number == 1 && line.message.starts_with("Unable to open file to determine file size")) return;
        any_error = any_error || line.error;
        collector.add(text);
    });
    collector.finish();
    if (!any_error) return;
    std::map<report::Cause, std::pair<size_t, report::Timestamp>>
        by_cause;  // how many documents, and the last one's end
    for (const report::Document* document : report.documents.in_order()) {
        const auto cause = document->cause();
        if (!cause || document->tried_again || document->outcome == report::Outcome::late) continue;
        auto& [count, last] = by_cause[*cause];
        ++count;
        last = std::max(last, document->end());
    }
    const auto add = [&](const std::string& id, const std::string& found) {
        if (!findings.has(id)) findings.add("log.errors", found, name);
    };
    for (const auto& [cause, documents] : by_cause) {
        const auto& [count, last] = documents;
        const report::Info& info = info_of(cause);
        add(info.id, counted(count, "document") + ": " + info.text + " (" + info.id + "), the last at " +
                         report::second_text(last));
    }
    for (const report::OtherErrors::Error& error : other_errors_of(report)) {
        const std::string id = error.cause ? info_of(*error.cause).id : "";
        const std::string found = counted(error.count, "error") + " " + shown_text(error.text);
        add(id, id.empty() ? found : found + " (" + id + ")");
    }
}

void check_rotation(const BaseDirectory& base, const std::string& log, const SessionContext& values,
                    Findings& findings) {
    std::error_code error;
    if (values.log_rotate_number <= 1) {
        return findings.add("log.no-rotation", "LogRotateNumber is " + std::to_string(values.log_rotate_number));
    }
    const auto limit = static_cast<std::uint64_t>(static_cast<std::uint32_t>(values.log_rotate_size_kbytes)) * 1024;
    const std::uint64_t size = fs::file_size(host::path_of(log), error);
    std::string blocked;
    for (const char* const suffix : {".tmp", ".1"}) {
        if (is_directory(log + suffix)) blocked = base.on_server(log + suffix);
    }
    const std::string name = base.on_server(log);
    if (!blocked.empty()) {
        findings.add("log.rotation-blocked", blocked + " is a directory and has the name of a rotated log", blocked);
    } else if (size > 2 * limit + (1 << 20)) {
        // The monitor checks the size every few hundred lines and after each document.
        findings.add("log.rotation-blocked",
                     name + " has grown to " + host::size_to_text(size) + ", the limit is " + host::size_to_text(limit),
                     name);
    }
}

}  // namespace

void check_log(const BaseDirectory& base, const Settings& settings, std::optional<report::Timestamp> now,
               Findings& findings) {
    const std::string name = path_in(base.path, kLogFileName);
    const std::string on_server = base.on_server(name);
    const fs::path path = host::path_of(name);
    std::error_code error;
    if (!exists(name)) return findings.saw("log", name + " does not exist yet");
    if (!fs::is_regular_file(path, error)) {
        return findings.add("log.not-writable", on_server + " is not a file", on_server);
    }
    if ((fs::status(path, error).permissions() & fs::perms::owner_write) == fs::perms::none) {
        findings.add("log.not-writable", on_server + " is marked read-only", on_server);
    }
    check_rotation(base, name, *settings.values, findings);
    std::optional<report::Timestamp> last_line;
    check_errors(name, now, findings, last_line);
    findings.saw("log", name + ": " + host::size_to_text(fs::file_size(path, error)) +
                            (last_line ? ", last line " + report::second_text(*last_line) : ", no line has a time"));
}

}  // namespace tsport::doctor
