// Helpers and single calls that fall short; only the layer's clock and its faults make these tests short or possible.
#include "tests/support/helper_script.h"
#include "winapi/linux/control.h"
#include "winapi/linux/handle.h"

namespace test {
namespace {

class HelperLimits : public HelperServer {
  protected:
    ~HelperLimits() override { EXPECT_EQ(winapi::misuses(), misuses_) << "a handle was closed twice"; }

  private:
    const std::uint64_t misuses_ = winapi::misuses();
};

const std::string kAsked = "printername=Office\nprinteraddress=127.0.0.1\njobid=7\n";

TEST_F(HelperLimits, TheThirteenthUnreadablePieceIsTheLast) {
    start();
    check_hardware();
    const std::string piece = " then say \".\" then taken";
    for (const int pieces : {12, 13}) {
        std::string script = "on jobid silence for 1 ms";
        for (int i = 0; i < pieces; ++i) script += piece;
        answer_by(script + " then OK");
        {
            const FastClock clock(100);
            EXPECT_EQ(print_job("page").result, host::Result::printed);
        }
        EXPECT_EQ(arrived(1), Lines{"page"});
        const std::string end = pieces == 12 ? "wait\nstartdoc\nenddoc\n(end of input)\n" : "(output closed)\n";
        EXPECT_EQ(heard(), kAsked + end);
        EXPECT_EQ(logged("TSM: try reading again"), pieces == 12 ? 12 : 24);
        EXPECT_EQ(logged("TSM: give up due to bad response string"), pieces == 12 ? 0 : 1);
        expect_clean();
    }
}

TEST_F(HelperLimits, AFloodIsCutOff) {
    start();
    check_hardware();
    for (const std::string command : {"jobid", "wait"}) {
        answer_by("on " + command + " write 40 MiB");
        {
            const FastClock clock(1000);
            EXPECT_EQ(print_job("page").result, host::Result::printed);
        }
        EXPECT_EQ(arrived(1), Lines{"page"});
        EXPECT_EQ(heard(), kAsked + (command == "wait" ? "wait\n" : "") + "(output closed)\n");
        expect_clean();
    }
    fs::remove(base / "spool/settings/Office.dat");
    answer_by("on jobid write 40 MiB");
    force_attributes();
    EXPECT_EQ(print_job("page").result, host::Result::failed);
    EXPECT_EQ(arrived(1), Lines{""});
    expect_clean();
}

// The settings file of a name this long has a cut name, and only a short directory leaves room for that.
TEST_F(HelperLimits, APrinterNameThatDoesNotFitItsLineEndsTheConversation) {
    start({"SettingsSpoolDir=C:\\"});
    winapi::map_drive('C', folder.spool("settings"));
    const std::string name(4084, 'n');
    spooler_sim::add_printer(host::to_text(name));
    write_file(base / "spool" / "settings" / name.substr(0, 254), host::settings_record());
    EXPECT_EQ(print_job("page", 100, host::to_text(name)).result, host::Result::printed);
    EXPECT_EQ(arrived(1), Lines{"page"});
    EXPECT_TRUE(wait_until([this] { return fs::exists(run_folder(1)); })) << "nobody has waited for it";
    EXPECT_EQ(heard(), "(end of input)\n");
    EXPECT_EQ(logged("TSM: command to helper is too long for name \"printername\"", "ERROR"), 1);
    EXPECT_EQ(logged("TSM Start Doc: Failed printername command in helper", "ERROR"), 1);
    expect_clean();
}

// What it has open besides its standard streams: its transcript.
// Whoever else starts a child meanwhile gives it nothing of ours: not the log, nor the work file, nor a record.
TEST_F(HelperLimits, AHelperIsGivenNothingButItsPipes) {
    start({"IsPrintingBasedOnPortMonitor=on"});
    write_file(base / "spool/hpc/job-Office-7.dat", "");
    check_hardware();
    force_attributes();
    const auto expect_own_files_only = [this](int run) {
        const std::string program = fs::canonical(base / kProgram);
        int found = 0;
        std::error_code error;
        for (const auto& process : fs::directory_iterator("/proc")) {
            if (fs::read_symlink(process.path() / "exe", error) != program) continue;
            std::vector<std::string> open;
            for (const auto& file : fs::directory_iterator(process.path() / "fd")) {
                const std::string target = fs::read_symlink(file.path(), error);
                if (target.starts_with(base.string()) || target.starts_with("socket:")) open.push_back(target);
            }
            const std::string transcript = run_folder(run) / "transcript";
            if (std::find(open.begin(), open.end(), transcript) == open.end()) continue;
            EXPECT_EQ(open, std::vector<std::string>{transcript});
            ++found;
        }
        EXPECT_EQ(found, 1);
    };
    answer_by("on enddoc silence until looked then OK\nrun 2: on forceattr silence until seen then OK");
    host::Document job = document(W("Office"), host::memory_source("page"));
    job.job_id = kJob;
    job.progress = [](std::uint64_t) { EXPECT_EQ(winapi::inheritable_descriptors().descriptors, std::vector<int>{}); };
    auto printing = std::async(std::launch::async, [&] { return monitor.print_document(job); });
    ASSERT_TRUE(wait_until([this] { return read_file(run_folder(2) / "transcript").ends_with("forceattr\n"); }));
    expect_own_files_only(1);
    expect_own_files_only(2);
    release("seen");
    release("looked");
    EXPECT_EQ(printing.get().result, host::Result::printed);
    expect_clean();
}

}  // namespace
}  // namespace test
