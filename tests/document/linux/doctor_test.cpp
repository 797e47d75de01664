// What stands in a base directory in place of files: it is named, and neither waited for nor read without an end.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "host/setup.h"
#include "tests/support/files.h"
#include "tsport/run.h"

namespace test {
namespace {

TEST(DoctorOfOddFiles, NamesThem) {
    const struct {
        const char* name;
        const char* found;
    } rows[] = {
        {"print-provider.conf", "print-provider.conf cannot be read: it is no ordinary file\n"},
        {"env-version", "env-version cannot be read: it is no ordinary file\n"},
        {"ts-print-monitor.exe", "[X] helper.no-program: ts-print-monitor.exe is not a Windows program\n"},
        {"print-monitor.log", "[!] log.not-writable: print-monitor.log is not a file\n"},
    };
    const fs::path folder = path_of(host::make_temporary_folder());
    for (const auto& [name, found] : rows) {
        for (const bool pipe : {true, false}) {
            for (const auto& row : rows) {
                fs::remove(folder / row.name);
                write_file(folder / row.name, "MZ");
            }
            fs::remove(folder / name);
            if (pipe) {
                ASSERT_EQ(mkfifo((folder / name).c_str(), 0600), 0);
            } else {
                fs::create_symlink("/dev/zero", folder / name);
            }
            const std::string text = tsport::run({"doctor", "--base", utf8_of(folder)}).out;
            EXPECT_NE(text.find(found), std::string::npos) << text;
        }
    }
    EXPECT_EQ(tsport::run({"doctor", "--store", utf8_of(folder / "print-monitor.log")}).status, tsport::refused);
    fs::remove_all(folder);
}

}  // namespace
}  // namespace test
