#include "tsport/doctor/base.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "host/text.h"
#include "tsport/file.h"
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
    return (plain.size() > 2 && plain[1] == ':' && plain[2] == '/') || plain.starts_with("//");
}

bool lies_below(const std::string& path, const std::string& base) {
    return with_slashes(path).starts_with(with_slashes(base));
}

}  // namespace

std::string path_in(const std::string& folder, const std::string& name) {
    const bool is_complete = !folder.empty() && (folder.back() == '\\' || folder.back() == '/');
    const char* const separator = folder.find('\\') != std::string::npos ? "\\" : "/";
    return folder + (is_complete ? "" : separator) + name;
}

bool exists(const std::string& path) {
    std::error_code error;
    return fs::exists(host::path_of(path), error);
}

bool is_directory(const std::string& path) {
    std::error_code error;
    return fs::is_directory(host::path_of(path), error);
}

std::string BaseDirectory::on_server(const std::string& path_here) const {
    if (!copied || !lies_below(path_here, path)) return path_here;
    std::string rest = path_here.substr(path.size());
    std::replace(rest.begin(), rest.end(), '/', '\\');
    return rest.substr(std::min(rest.find_first_not_of('\\'), rest.size()));
}

std::vector<Directory> check_directories(const BaseDirectory& base, const Settings& settings, Findings& findings) {
    if (!settings.read) return {};  // the monitor knows none then
    const SessionContext& values = *settings.values;
    std::vector<Directory> directories = {
        {"dirs.no-spool", "the spool directory", nullptr, values.spool_dir_path},
        {"dirs.no-notapproved", "the directory of the markers of jobs that are not approved",
         "jobs that are not approved are printed", values.notapproved_jobs_spool_dir_path},
        {"dirs.no-settings", "the directory of the printers' settings", "devices are not checked before a job",
         values.settings_spool_dir_path},
        {"dirs.no-forceattr", "the directory of jobs whose attributes are forced", "forced attributes are skipped",
         values.forceattr_spool_dir_path},
    };
    Directory& spool = directories[0];
    size_t seen = 0;
    for (Directory& directory : directories) {
        const std::string path = base.on_server(directory.path);
        const std::string what = std::string(directory.purpose) + ", " + path;
        const bool inside = lies_below(directory.path, base.path);
        if (&directory != &spool && !spool.seen && lies_below(directory.path, spool.path + "\\")) continue;
        if (!inside && !is_complete_path(directory.path)) {
            findings.add("dirs.incomplete-path", what + ", has no drive or server");
        } else if (!inside && base.copied) {
            findings.skipped("dirs", what + ", is outside the copied base directory");
        } else if (is_directory(with_slashes(directory.path))) {
            directory.seen = true;
            ++seen;
        } else {
            const bool is_there = exists(with_slashes(directory.path));
            findings.add(directory.missing_id, what + (is_there ? ", is not a directory" : ", does not exist"), path);
        }
    }
    findings.saw("dirs", std::to_string(seen) + " of " + std::to_string(directories.size()) + " directories exist");
    return directories;
}

void check_helper(const BaseDirectory& base, Findings& findings) {
    constexpr size_t longest_path = 259;  // the monitor cuts it there
    const std::string path = path_in(base.path, host::to_utf8(contract::kHelperFileName));
    if (!base.copied && host::to_text(path).size() > longest_path) {
        return findings.add("helper.long-path",
                            path + " has more than " + std::to_string(longest_path) + " characters");
    }
    if (!exists(path)) return findings.add("helper.missing", base.on_server(path) + " does not exist");
    char mark[2] = {};
    if (is_file(path)) std::ifstream(host::path_of(path), std::ios::binary).read(mark, sizeof mark);
    if (mark[0] != 'M' || mark[1] != 'Z') {
        findings.add("helper.no-program", base.on_server(path) + " is not a Windows program");
    }
    std::error_code error;
    findings.saw("helper", path + ": " + host::size_to_text(fs::file_size(host::path_of(path), error)));
}

}  // namespace tsport::doctor
