#include "tsport/doctor/log.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>

#include "common/file_names.h"
#include "host/text.h"
#include "tsport/report/line_reader.h"

namespace tsport::doctor {
namespace {

namespace fs = std::filesystem;

// Reduces a message to its kind: without numbers and names.
std::string kind_of(const std::string& message) {
    const std::string prefix = message.rfind("TSM: ", 0) == 0 ? "TSM: " : "";
    std::string kind = message.substr(prefix.size());
    kind.resize(std::min({kind.size(), kind.find(": "), kind.find('"'), kind.find(" - ")}));
    std::string plain;
    for (const char c : kind) {
        const bool digit = c >= '0' && c <= '9';
        if (!digit) plain += c;
        if (digit && (plain.empty() || plain.back() != '#')) plain += '#';
    }
    return plain;
}

struct ErrorLine {
    report::Timestamp time;
    std::string message;
};

struct ErrorKind {
    size_t count = 0;
    ErrorLine last;
};

// To the second, as administrators look for it in the log.
std::string second_text(report::Timestamp time) {
    return report::to_text(time).substr(0, 19);
}

// The errors within a day before `now`, or before the last line, by their kinds.
std::map<std::string, ErrorKind> errors_of_last_day(std::istream& log, std::optional<report::Timestamp> now,
                                                    std::optional<report::Timestamp>& last_line) {
    std::vector<ErrorLine> errors;
    report::LineReader reader(log);
    while (reader.next()) {
        report::LogLine line;
        if (report::parse_line(reader.line(), line) != report::LineKind::complete) continue;
        last_line = line.time;
        if (line.error) errors.push_back({line.time, std::string(line.message)});
    }
    std::map<std::string, ErrorKind> kinds;
    for (const ErrorLine& error : errors) {
        if (error.time < now.value_or(*last_line) - std::chrono::days(1)) continue;
        ErrorKind& kind = kinds[kind_of(error.message)];
        ++kind.count;
        kind.last = error;
    }
    return kinds;
}

void check_errors(const std::string& name, std::optional<report::Timestamp> now, Findings& findings,
                  std::optional<report::Timestamp>& last_line) {
    constexpr std::streamoff most = 16 << 20;  // of the log's end; older lines are the report's
    const fs::path path = host::path_of(name);
    std::ifstream log(path, std::ios::binary);
    std::error_code error;
    const auto size = static_cast<std::streamoff>(fs::file_size(path, error));
    if (!error && size > most) log.seekg(size - most);
    for (const auto& [kind, errors] : errors_of_last_day(log, now, last_line)) {
        findings.add("log.errors",
                     counted(errors.count, "error") + " within a day, the last at " + second_text(errors.last.time) +
                         ": " + shown_text(errors.last.message),
                     "tsport report \"" + name + "\" shows which documents it affected");
    }
}

void check_rotation(const std::string& log, const Settings& settings, Findings& findings) {
    const SessionContext& values = *settings.values;
    std::error_code error;
    const fs::path path = host::path_of(log);
    if (values.log_rotate_number <= 1) {
        findings.add("log.no-rotation", "LogRotateNumber is " + std::to_string(values.log_rotate_number),
                     "write LogRotateNumber=10 into print-provider.conf; then restart the spooler");
        return;
    }
    const auto limit = static_cast<std::uint64_t>(static_cast<std::uint32_t>(values.log_rotate_size_kbytes)) * 1024;
    const std::uint64_t size = fs::file_size(path, error);
    std::string blocked;
    for (const char* const suffix : {".tmp", ".1"}) {
        if (fs::is_directory(host::path_of(log + suffix), error)) blocked = log + suffix;
    }
    if (!blocked.empty()) {
        findings.add("log.rotation-blocked", blocked + " is a directory and has the name of a rotated log",
                     "move the directory away");
    } else if (size > 2 * limit + (1 << 20)) {
        // The monitor checks the size every few hundred lines and after each document.
        findings.add("log.rotation-blocked",
                     log + " has grown to " + host::size_to_text(size) + ", the limit is " + host::size_to_text(limit),
                     "find out which program holds print-monitor.log or its numbered files open, and whether the "
                     "spooler may rename "
                     "files there (icacls)");
    }
}

bool is_read_only(const fs::path& path) {
    std::error_code error;
    return (fs::status(path, error).permissions() & fs::perms::owner_write) == fs::perms::none;
}

}  // namespace

void check_log(const BaseDirectory& base, const Settings& settings, std::optional<report::Timestamp> now,
               Findings& findings) {
    const std::string name = path_in(base.path, kLogFileName);
    const fs::path path = host::path_of(name);
    std::error_code error;
    if (!fs::exists(path, error)) {
        findings.saw("log", name + " does not exist yet");
        return;
    }
    if (!fs::is_regular_file(path, error)) {
        findings.add("log.not-writable", name + " is not a file", "move it away");
        return;
    }
    if (is_read_only(path)) {
        findings.add("log.not-writable", name + " is marked read-only", "attrib -r \"" + name + "\"");
    }
    check_rotation(name, settings, findings);
    std::optional<report::Timestamp> last_line;
    check_errors(name, now, findings, last_line);
    findings.saw("log", name + ": " + host::size_to_text(fs::file_size(path, error)) +
                            (last_line ? ", last line " + second_text(*last_line) : ", no line has a time"));
}

}  // namespace tsport::doctor
