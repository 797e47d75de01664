// The files of a log, in their order.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <tuple>

#include "common/file_names.h"
#include "host/text.h"
#include "tsport/report/report.h"
#include "winportmon/contract/names.h"

namespace tsport::report {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t live = 0;
constexpr std::uint64_t set_aside = 1;  // ".tmp": a rotation was interrupted

// A file as a part of a log: "DIR/print-monitor.log.7" is number 7 of "DIR/print-monitor.log". The higher the age, the
// older the file.
struct Part : LogFiles::File {
    std::string log;
    std::uint64_t age = live;
    Timestamp log_time{};  // once it is known
};

Part part_of(const std::string& file, bool of_folder) {
    const size_t dot = file.rfind('.');
    std::uint64_t number = 0;
    if (dot != std::string::npos && file.find_first_of("/\\", dot) == std::string::npos) {
        if (host::parse_number(file.substr(dot + 1), 1, UINT32_MAX, number))
            return {{file, of_folder}, file.substr(0, dot), number + 1};
        if (file.substr(dot) == ".tmp") return {{file, of_folder}, file.substr(0, dot), set_aside};
    }
    return {{file, of_folder}, file, live};
}

// Why it must not be opened: reading it may wait, or never end. Empty when it is a file.
std::string fault_of(const std::string& path) {
    std::error_code error;
    const fs::file_type type = fs::status(host::path_of(path), error).type();
    if (type == fs::file_type::regular) return "";
    if (type == fs::file_type::not_found) return path + " does not exist";
    if (type == fs::file_type::none) return path + " cannot be read: " + error.message();
    return path + (type == fs::file_type::directory ? " is a folder, not a log" : " is no ordinary file");
}

// The parts of the log in a folder.
bool list_folder(const std::string& folder, std::vector<Part>& parts, LogFiles& logs, std::string& why) {
    const size_t before = parts.size() + logs.left_out.size();
    std::error_code error;
    for (fs::directory_iterator entry(host::path_of(folder), error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = host::utf8_of(entry->path().filename());
        const Part part = part_of(host::utf8_of(entry->path()), true);
        if (!name.starts_with(kLogFileName) || host::utf8_of(host::path_of(part.log).filename()) != kLogFileName)
            continue;
        const std::string fault = fault_of(part.path);
        if (fault.empty()) parts.push_back(part);
        if (!fault.empty()) logs.left_out.push_back(fault);
    }
    std::sort(logs.left_out.begin(), logs.left_out.end());
    if (error) why = folder + " cannot be read: " + error.message();
    if (!error && parts.size() + logs.left_out.size() == before) {
        why = "there is no " + std::string(kLogFileName) + " in " + folder +
              "; where the monitor should write one, tsport doctor finds out why it does not";
    }
    return why.empty();
}

// The base directory in an install folder, or the folder itself.
std::string base_in(const std::string& folder) {
    std::string below = BASE_FOLDER;
    std::replace(below.begin(), below.end(), '\\', '/');
    const fs::path base = host::path_of(folder + below).make_preferred();
    std::error_code error;
    return fs::is_directory(base, error) ? host::utf8_of(base) : folder;
}

// Of its first line that has one.
Timestamp time_of(const Part& part) {
    constexpr int most = 1000;
    std::ifstream file;
    if (part.path != "-") file.open(host::path_of(part.path), std::ios::binary);
    LineReader reader(file);
    for (int i = 0; i < most && reader.next(); ++i) {
        if (const auto time = parse_timestamp(reader.line())) return *time;
    }
    return Timestamp::max();
}

}  // namespace

bool find_logs(const std::vector<std::string>& arguments, LogFiles& logs, std::string& why) {
    std::vector<Part> parts;
    why.clear();
    for (const std::string& argument : arguments) {
        std::error_code error;
        if (argument == "-") {
            parts.push_back({{argument}, argument});
        } else if (fs::is_directory(host::path_of(argument), error)) {
            if (!list_folder(base_in(argument), parts, logs, why)) return false;
        } else {
            why = fault_of(argument);
            if (!why.empty()) return false;
            parts.push_back(part_of(argument, false));
        }
    }
    const auto is_before = [](const Part& a, const Part& b) {
        return std::tie(a.log_time, a.log, b.age, a.path) < std::tie(b.log_time, b.log, a.age, b.path);
    };
    std::sort(parts.begin(), parts.end(), is_before);
    const auto last =
        std::unique(parts.begin(), parts.end(), [](const Part& a, const Part& b) { return a.path == b.path; });
    parts.erase(last, parts.end());
    // A log's time is that of its oldest part, which comes first here.
    for (size_t i = 0; i < parts.size(); ++i) {
        const bool is_first = i == 0 || parts[i].log != parts[i - 1].log;
        parts[i].log_time = is_first ? time_of(parts[i]) : parts[i - 1].log_time;
    }
    std::sort(parts.begin(), parts.end(), is_before);
    logs.files.assign(parts.begin(), parts.end());
    return true;
}

}  // namespace tsport::report
