// Access lists of real files, as the doctor reads them.
#include <gtest/gtest.h>

#include "host/setup.h"
#include "tests/support/files.h"
#include "tsport/doctor/base.h"

#include <aclapi.h>
#include <sddl.h>

namespace test {
namespace {

void set_access(const std::string& path, LPCWSTR list) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(list, SDDL_REVISION_1, &descriptor, nullptr));
    EXPECT_TRUE(SetFileSecurityW(path_of(path).wstring().c_str(), DACL_SECURITY_INFORMATION, descriptor));
    LocalFree(descriptor);
}

TEST(DoctorOfRights, SaysWhatUsersMayChangeAndMayNotSee) {
    using namespace tsport::doctor;
    const std::string base = host::make_temporary_folder();
    const std::string markers = base + "\\spool\\notapprovedjobs";
    fs::create_directories(path_of(markers));
    const std::vector<Directory> directories = {
        {"dirs.no-spool", "the spool directory", nullptr, base + "\\spool", false},
        {"dirs.no-notapproved", "the markers", "jobs are printed", markers, true},
    };
    const auto findings_with = [&](LPCWSTR list, int as_system) {
        set_access(markers, list);
        Settings settings;
        settings.values->hwcheck_port_monitor_run_as_system = as_system;
        Findings findings({{"rights"}, {}});
        check_rights({base, false}, settings, directories, findings);
        std::string ids;
        for (const Finding& finding : findings.all()) {
            for (const Place& place : finding.places) {
                if (place.subject == markers) ids += finding.kind->id + " ";
            }
        }
        return ids;
    };
    EXPECT_EQ(findings_with(L"D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;WD)", 0), "rights.users-write ");
    EXPECT_EQ(findings_with(L"D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;WD)", 0), "");
    EXPECT_EQ(findings_with(L"D:P(A;;FA;;;SY)(A;;FA;;;BA)", 0), "rights.users-cannot-see ");
    EXPECT_EQ(findings_with(L"D:P(A;;FA;;;SY)(A;;FA;;;BA)", 1), "");
    set_access(markers, L"D:P(A;;FA;;;WD)");
    std::error_code ignored;
    fs::remove_all(path_of(base), ignored);
}

}  // namespace
}  // namespace test
