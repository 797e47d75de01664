#include "host/text.h"
#include "tsport/doctor/base.h"
#include "winportmon/contract/names.h"

namespace tsport::doctor {
namespace {

// Windows evaluates the list in order: the first entry for a right decides.
template <typename IsOneOfThem>
std::uint32_t rights_of(const AccessList& access, std::uint32_t mask, IsOneOfThem is_one_of_them) {
    if (access.everybody) return mask;
    std::uint32_t undecided = mask;
    std::uint32_t allowed = 0;
    for (const AccessEntry& entry : access.entries) {
        if (!is_one_of_them(entry.sid)) continue;
        if (entry.allows) allowed |= undecided & entry.mask;
        undecided &= ~entry.mask;
    }
    return allowed;
}

bool is_everyone(const std::string& sid) {
    return sid == "S-1-1-0" || sid == "S-1-5-11";
}

bool is_every_user(const std::string& sid) {
    const bool domain_users = sid.starts_with("S-1-5-21-") && sid.ends_with("-513");
    return is_everyone(sid) || sid == "S-1-5-32-545" || domain_users;
}

bool is_system(const std::string& sid) {
    return is_everyone(sid) || sid == "S-1-5-18" || sid == "S-1-5-32-544";
}

// Each place once.
class Rights {
  public:
    explicit Rights(Findings& findings) : findings_(findings) {}

    void users_may_not_change(const std::string& path, const std::string& what) {
        const auto access = read(path);
        if (!access || rights_of_users(*access, rights_to_change) == 0) return;
        findings_.add("rights.users-write", "every user may change " + what + ", " + path, path);
    }
    void users_must(std::uint32_t right, const std::string& path, const std::string& what, const std::string& lost) {
        const auto access = read(path);
        if (!access || rights_of_users(*access, right) == right) return;
        findings_.add("rights.users-cannot-see", "users may not read " + what + ", " + path + ": " + lost, path);
    }
    void system_must_write(const std::string& path, const std::string& what) {
        const auto access = read(path);
        if (!access || rights_of_system(*access, rights_to_write) == rights_to_write) return;
        findings_.add("rights.system-cannot-write", "the system account may not write " + what + ", " + path, path);
    }
    std::optional<AccessList> read(const std::string& path) {
        AccessList access;
        std::string why;
        if (!read_access(path, access, why)) {
            findings_.skipped("rights", path + ": " + why);
            return {};
        }
        ++seen_;
        return access;
    }
    size_t seen() const { return seen_; }

  private:
    Findings& findings_;
    size_t seen_ = 0;
};

void check_above_helper(const std::string& helper, Rights& rights, Findings& findings) {
    for (const std::string& path : shadowing_paths(helper)) {
        if (exists(path)) {
            findings.add("helper.shadowed", path + " exists and is started in place of " + helper);
            continue;
        }
        const std::string folder = path.substr(0, path.rfind('\\') + 1) + ".";  // a command's "C:\" would not end there
        const auto access = rights.read(folder);
        if (!access || rights_of_users(*access, right_to_create_files) == 0) continue;
        findings.add("helper.folder-writable",
                     "users may create " + path + ", which would be started in place of " + helper, folder);
    }
}

}  // namespace

std::uint32_t rights_of_users(const AccessList& access, std::uint32_t mask) {
    return rights_of(access, mask, is_every_user);
}

std::uint32_t rights_of_system(const AccessList& access, std::uint32_t mask) {
    return rights_of(access, mask, is_system);
}

std::vector<std::string> shadowing_paths(const std::string& helper) {
    std::vector<std::string> paths;
    for (size_t blank = helper.find(' '); blank != std::string::npos; blank = helper.find(' ', blank + 1)) {
        paths.push_back(helper.substr(0, blank) + ".exe");
    }
    return paths;
}

void check_rights(const BaseDirectory& base, const Settings& settings, const std::vector<Directory>& directories,
                  Findings& findings) {
    if (!findings.wants("rights") && !findings.wants("helper")) return;
    Rights rights(findings);
    const std::string helper = path_in(base.path, host::to_utf8(contract::kHelperFileName));
    rights.users_may_not_change(base.path, "the base directory");
    rights.system_must_write(base.path, "the base directory");
    if (exists(helper)) rights.users_may_not_change(helper, "the helper program");
    const bool as_user = settings.values->hwcheck_port_monitor_run_as_system == 0;
    for (const Directory& directory : directories) {
        if (!directory.seen) continue;
        rights.users_may_not_change(directory.path, directory.purpose);
        rights.system_must_write(directory.path, directory.purpose);
        if (as_user && directory.lost != nullptr) {
            rights.users_must(right_to_read, directory.path, directory.purpose, directory.lost);
        }
    }
    if (as_user && exists(helper)) {
        rights.users_must(right_to_see, helper, "the helper program",
                          "it is not started, devices are not checked and forced attributes are skipped");
    }
    check_above_helper(helper, rights, findings);
    findings.saw("rights", counted(rights.seen(), "access list") + (as_user ? "; documents are printed as the user"
                                                                            : "; documents are printed as the system"));
}

}  // namespace tsport::doctor
