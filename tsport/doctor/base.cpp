#include "tsport/doctor/base.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "host/text.h"
#include "winportmon/contract/names.h"

namespace tsport::doctor {
namespace {

namespace fs = std::filesystem;

// Windows and Linux both take this separator.
std::string with_slashes(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

bool is_complete_path(const std::string& path) {
    const std::string plain = with_slashes(path);
    return (plain.size() > 2 && plain[1] == ':' && plain[2] == '/') || plain.rfind("//", 0) == 0;
}

bool lies_below(const std::string& path, const std::string& base) {
    return with_slashes(path).rfind(with_slashes(base), 0) == 0;
}

std::vector<Directory> directories_of(const Settings& settings) {
    const SessionContext& values = *settings.values;
    return {
        {"dirs.no-spool", "the spool directory", values.spool_dir_path, "", false},
        {"dirs.no-notapproved", "the directory of the markers of jobs that are not approved",
         values.notapproved_jobs_spool_dir_path, "", false},
        {"dirs.no-settings", "the directory of the printers' settings", values.settings_spool_dir_path, "", false},
        {"dirs.no-forceattr", "the directory of jobs whose attributes are forced", values.forceattr_spool_dir_path, "",
         false},
    };
}

}  // namespace

std::vector<Directory> check_directories(const BaseDirectory& base, const Settings& settings, Findings& findings) {
    std::vector<Directory> directories;
    if (!settings.read) return directories;  // the monitor knows none then
    directories = directories_of(settings);
    const std::string spool = directories[0].path;
    size_t seen = 0;
    for (Directory& directory : directories) {
        directory.local = with_slashes(directory.path);
        const std::string what = std::string(directory.purpose) + ", " + directory.path;
        const bool inside = lies_below(directory.path, base.path);
        const bool goes_with_spool = &directory != directories.data() && lies_below(directory.path, spool + "\\");
        std::error_code error;
        if (goes_with_spool && !directories[0].seen) continue;  // already reported
        if (!inside && !is_complete_path(directory.path)) {
            findings.add("dirs.incomplete-path", what + ", has no drive or server",
                         "write the complete path, with its drive, into print-provider.conf and restart the spooler");
        } else if (!inside && base.copied) {
            findings.skipped("dirs", what + ", is outside the copied base directory");
        } else if (fs::is_directory(host::path_of(directory.local), error)) {
            directory.seen = true;
            ++seen;
        } else {
            const bool is_there = fs::exists(host::path_of(directory.local), error);
            findings.add(directory.missing_id, what + (is_there ? ", is not a directory" : ", does not exist"),
                         (is_there ? "replace the file by a directory: " : "create it: mkdir ") +
                             ("\"" + directory.path) + "\", and give it the rights that README.txt names");
        }
    }
    findings.saw("dirs", std::to_string(seen) + " of " + std::to_string(directories.size()) + " directories exist");
    return directories;
}

std::string helper_path(const BaseDirectory& base) {
    return path_in(base.path, host::to_utf8(contract::kHelperFileName));
}

void check_helper(const BaseDirectory& base, Findings& findings) {
    constexpr size_t longest_path = 259;  // the monitor cuts it there
    const std::string path = helper_path(base);
    std::error_code error;
    const std::string reinstall = "repair the installation of the Print Provider";
    if (!base.copied && host::to_text(path).size() > longest_path) {
        findings.add("helper.long-path", path + " has more than " + std::to_string(longest_path) + " characters",
                     "install the Print Provider in a folder with a shorter path");
        return;
    }
    if (!fs::exists(host::path_of(path), error)) {
        findings.add("helper.missing", path + " does not exist", reinstall);
        return;
    }
    char mark[2] = {};
    std::ifstream(host::path_of(path), std::ios::binary).read(mark, sizeof mark);
    if (mark[0] != 'M' || mark[1] != 'Z') {
        findings.add("helper.no-program", path + " is not a Windows program", reinstall);
    }
    findings.saw("helper", path + ": " + host::size_to_text(fs::file_size(host::path_of(path), error)));
}

}  // namespace tsport::doctor
