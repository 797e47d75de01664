// The files of a log, in their order.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <tuple>

#include "common/file_names.h"
#include "host/text.h"
#include "tsport/report/report.h"

namespace tsport::report {
namespace {

namespace fs = std::filesystem;

constexpr const char* log_name = kLogFileName;
constexpr std::uint64_t live = 0;
constexpr std::uint64_t set_aside = 1;  // ".tmp": a rotation was interrupted

// A file as a part of a log: "DIR/print-monitor.log.7" is number 7 of "DIR/print-monitor.log". The higher the age, the
// older the file.
struct Part {
    std::string log;
    std::uint64_t age;
    std::string file;
};

Part part_of(const std::string& file) {
    const size_t dot = file.rfind('.');
    std::uint64_t number = 0;
    if (dot != std::string::npos && file.find_first_of("/\\", dot) == std::string::npos) {
        if (host::parse_number(file.substr(dot + 1), 1, UINT32_MAX, number))
            return {file.substr(0, dot), number + 1, file};
        if (file.substr(dot) == ".tmp") return {file.substr(0, dot), set_aside, file};
    }
    return {file, live, file};
}

// The parts of the log in a folder.
bool list_folder(const std::string& folder, std::vector<Part>& parts, std::string& why) {
    const size_t before = parts.size();
    std::error_code error;
    for (fs::directory_iterator entry(host::path_of(folder), error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = host::utf8_of(entry->path().filename());
        const Part part = part_of(host::utf8_of(entry->path()));
        if (name.starts_with(log_name) && host::utf8_of(host::path_of(part.log).filename()) == log_name) {
            parts.push_back(part);
        }
    }
    if (error) why = folder + " cannot be read: " + error.message();
    if (!error && parts.size() == before) why = "there is no " + std::string(log_name) + " in " + folder;
    return !error && parts.size() != before;
}

}  // namespace

bool find_logs(const std::vector<std::string>& arguments, std::vector<std::string>& files, std::string& why) {
    std::vector<Part> parts;
    for (const std::string& argument : arguments) {
        std::error_code error;
        if (argument == "-") {
            parts.push_back({argument, live, argument});
        } else if (fs::is_directory(host::path_of(argument), error)) {
            if (!list_folder(argument, parts, why)) return false;
        } else if (fs::exists(host::path_of(argument), error)) {
            parts.push_back(part_of(argument));
        } else {
            why = argument + " does not exist";
            return false;
        }
    }
    // Logs stay in the order of their first parts.
    std::vector<std::string> logs;
    for (const Part& part : parts) {
        if (std::find(logs.begin(), logs.end(), part.log) == logs.end()) logs.push_back(part.log);
    }
    const auto place = [&](const Part& part) { return std::find(logs.begin(), logs.end(), part.log) - logs.begin(); };
    std::sort(parts.begin(), parts.end(), [&](const Part& a, const Part& b) {
        return std::tuple(place(a), b.age, a.file) < std::tuple(place(b), a.age, b.file);
    });
    for (const Part& part : parts) files.push_back(part.file);
    files.erase(std::unique(files.begin(), files.end()), files.end());
    return true;
}

}  // namespace tsport::report
