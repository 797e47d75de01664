#include "tools/tsport/doctor/log.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>

#include "tools/host/text.h"

namespace tsport::doctor {
namespace {

namespace fs = std::filesystem;

constexpr size_t time_size = 19;  // "2021-03-09 14:07:02"

// Seconds since some day long ago; false when the text does not begin with a time.
bool parse_time(const std::string& text, std::int64_t& seconds) {
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    if (std::sscanf(text.c_str(), "%4d-%2d-%2d %2d:%2d:%2d", &year, &month, &day, &hour, &minute, &second) != 6) {
        return false;
    }
    if (year < 1 || month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 || second > 60)
        return false;
    // The days before a month, with the year beginning in March.
    const std::int64_t from_march = (month + 9) % 12;
    const std::int64_t years = year - (month <= 2 ? 1 : 0);
    const std::int64_t days = years * 365 + years / 4 - years / 100 + years / 400 + (from_march * 153 + 2) / 5 + day;
    seconds = ((days * 24 + hour) * 60 + minute) * 60 + second;
    return true;
}

struct ErrorLine {
    std::int64_t seconds = 0;
    std::string time;
    std::string message;
};

// "2021-03-09 14:07:02,481 ERROR: tsmon.cpp:12 - message [77]", source and thread with Debug on only.
bool parse_error(const std::string& line, ErrorLine& error) {
    const size_t level = line.find(" ERROR: ");
    if (level != time_size + 4 || !parse_time(line, error.seconds)) return false;
    error.time = line.substr(0, time_size);
    error.message = line.substr(level + 8);
    const size_t dash = error.message.find(" - ");
    const size_t colon = error.message.find(".cpp:");
    if (colon != std::string::npos && dash != std::string::npos && colon < dash) error.message.erase(0, dash + 3);
    return true;
}

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

struct ErrorKind {
    size_t count = 0;
    ErrorLine last;
};

class LastDay {
  public:
    explicit LastDay(const std::string& now) { has_end_ = parse_time(now, end_); }

    void read(std::istream& log) {
        std::string line;
        while (std::getline(log, line)) {
            std::int64_t seconds = 0;
            if (line.size() < time_size || !parse_time(line, seconds)) continue;
            last_line_ = line.substr(0, time_size);
            last_seconds_ = seconds;
            ErrorLine error;
            if (parse_error(line, error)) errors_.push_back(std::move(error));
        }
    }
    std::map<std::string, ErrorKind> kinds() const {
        constexpr std::int64_t day = 24 * 60 * 60;
        const std::int64_t end = has_end_ ? end_ : last_seconds_;
        std::map<std::string, ErrorKind> kinds;
        for (const ErrorLine& error : errors_) {
            if (error.seconds < end - day) continue;
            ErrorKind& kind = kinds[kind_of(error.message)];
            ++kind.count;
            kind.last = error;
        }
        return kinds;
    }
    const std::string& last_line() const { return last_line_; }

  private:
    std::int64_t end_ = 0;
    bool has_end_ = false;
    std::string last_line_;
    std::int64_t last_seconds_ = 0;
    std::vector<ErrorLine> errors_;
};

void check_errors(const std::string& name, const std::string& now, Findings& findings, std::string& last_line) {
    constexpr std::streamoff most = 16 << 20;  // of the log's end; older lines are the report's
    const fs::path path = host::path_of(name);
    std::ifstream log(path, std::ios::binary);
    std::error_code error;
    const auto size = static_cast<std::streamoff>(fs::file_size(path, error));
    if (!error && size > most) {
        log.seekg(size - most);
        std::string rest_of_line;
        std::getline(log, rest_of_line);
    }
    LastDay day(now);
    day.read(log);
    last_line = day.last_line();
    for (const auto& [kind, errors] : day.kinds()) {
        findings.add("log.errors",
                     counted(errors.count, "error") + " within a day, the last at " + errors.last.time + ": " +
                         shown_text(errors.last.message),
                     "tsport report \"" + name + "\" tells which documents it cost");
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
        findings.add("log.rotation-blocked", blocked + " is a directory where a rotated log belongs",
                     "move the directory away");
    } else if (size > 2 * limit + (1 << 20)) {
        // The size is looked at every few hundred lines and after each document.
        findings.add(
            "log.rotation-blocked",
            log + " has grown to " + host::size_in_words(size) + ", the limit is " + host::size_in_words(limit),
            "look who holds print-monitor.log or its numbered files open, and whether the spooler may rename "
            "files there (icacls)");
    }
}

bool is_read_only(const fs::path& path) {
    std::error_code error;
    return (fs::status(path, error).permissions() & fs::perms::owner_write) == fs::perms::none;
}

}  // namespace

void look_at_log(const BaseDirectory& base, const Settings& settings, const std::string& now, Findings& findings) {
    const std::string name = path_in(base.path, "print-monitor.log");
    const fs::path path = host::path_of(name);
    std::error_code error;
    if (!fs::exists(path, error)) {
        findings.saw("log", name + " does not exist yet");
        return;
    }
    if (!fs::is_regular_file(path, error)) {
        findings.add("log.not-writable", name + " is no file", "move away what stands there");
        return;
    }
    if (is_read_only(path)) {
        findings.add("log.not-writable", name + " is marked read-only", "attrib -r \"" + name + "\"");
    }
    check_rotation(name, settings, findings);
    std::string last_line;
    check_errors(name, now, findings, last_line);
    findings.saw("log", name + ": " + host::size_in_words(fs::file_size(path, error)) +
                            (last_line.empty() ? ", no line with a time" : ", last line " + last_line));
}

}  // namespace tsport::doctor
