// What only the layer shows of a document: printers and helpers that hold it up, for which its clock shortens the wait,
// the debugger's output, a name with several addresses, and what a helper has open.
#include <atomic>
#include <set>

#include "tests/support/helper_script.h"
#include "tests/support/linux/fast_clock.h"
#include "tests/support/reported.h"
#include "tests/support/silent_printer.h"
#include "winapi/linux/fault.h"
#include "winapi/linux/handle.h"
#include "winportmon/contract/printer.h"

namespace test {
namespace {

using Causes = std::multiset<std::string>;

class Layer : public PrintServer {};

TEST_F(Layer, APrinterHasThirtySecondsToClose) {
    start();
    test_printer::Behaviour silent;
    silent.never_close = true;
    // The monitor reads nothing, and a close counts only once everything before it has been read.
    test_printer::Behaviour talking;
    talking.answer = "@PJL USTATUS JOB\r\n";
    Causes causes = {"helper.missing", "printer.no-close"};  // no helper program: looked for at the start
    for (const test_printer::Behaviour& behaviour : {silent, talking}) {
        office->behave_once(behaviour);
        const FastClock clock(100);
        const DWORD begin = GetTickCount();
        EXPECT_EQ(print(W("Office"), "page").result, host::Result::printed);
        EXPECT_GE(GetTickCount() - begin, 30000u);
        const Reported reported(log());
        EXPECT_EQ(reported.named(), causes) << reported.report_text;
        EXPECT_EQ(reported.documents.back()->outcome, tsport::report::Outcome::printed);
        EXPECT_GE(reported.documents.back()->end_ms, 30000u);
        causes.insert("printer.never-closes");  // what one document shows stands out once it is the rule
    }
    EXPECT_EQ(logged("TSM: timed out waiting to get the FD_CLOSE event on the socket", "ERROR"), 2);
    EXPECT_EQ(print(W("Office"), "next page").result, host::Result::printed);
    EXPECT_EQ(arrived(3), (Lines{"page", "page", "next page"}));
}

// It drops the connection once it has been handed everything: what it did with the end is unknown. Wine reports such
// a close without its error.
TEST_F(Layer, ALossAfterTheLastByteLeavesALine) {
    start();
    test_printer::Behaviour late;
    late.reset_after = 20000;
    office->behave_once(late);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(print(W("Office"), pattern(20000)).result, host::Result::printed);
    EXPECT_EQ(logged("TSM: an error occured while waiting for FD_CLOSE event: 100", "ERROR"), 1);
    // No document: nothing of one can be lost.
    late.reset_after = 0;
    office->behave_once(late);
    send_config(monitor, W("TSPortIsValid"), port_config(W(""), W("127.0.0.1"), office->port()));
    EXPECT_EQ(logged("TSM: an error occured while waiting for FD_CLOSE event: ", "ERROR"), 1);
    const Reported reported(log());
    EXPECT_EQ(reported.named(), (Causes{"helper.missing", "printer.broke-off"})) << reported.report_text;
    EXPECT_EQ(reported.report->sums.all().of(tsport::report::Cause::broken_at_end), 1u);
}

// Until the settings have been read a start tells the debugger everything.
TEST_F(Layer, AStartThatFindsNoSettingsYetIsTold) {
    static std::atomic<int> looked_up;
    looked_up = 0;
    winapi::set_debugger([](const char* text) {
        if (std::string(text).starts_with("TSM: looking up registry path: ")) ++looked_up;
    });
    start({});
    winapi::set_debugger(nullptr);
    EXPECT_EQ(looked_up, 1);
}

TEST_F(Layer, ACheckOfAPrinterTellsWhatADocumentWillMeet) {
    using contract::Verdict;
    const auto number = add_printer(W("Office")).port();
    const SilentPrinter silent("127.0.0.9", number);
    const struct {
        const char* what;
        std::vector<std::string> addresses;
        std::uint32_t port;
        Verdict verdict;
        DWORD error;
        std::uint32_t silent;
    } rows[] = {
        {"accepts", {"127.0.0.1"}, number, Verdict::accepted, 0, 0},
        {"refused at first", {"127.0.0.8", "127.0.0.1"}, number, Verdict::accepted, 0, 0},
        {"silent at first", {"127.0.0.9", "127.0.0.8", "127.0.0.1"}, number, Verdict::accepted, 0, 1},
        {"silent behind", {"127.0.0.1", "127.0.0.9"}, number, Verdict::accepted, 0, 0},
        {"silent twice", {"127.0.0.9", "127.0.0.9", "127.0.0.1"}, number, Verdict::accepted, 0, 2},
        {"refuses", {"127.0.0.1"}, 1, Verdict::refused, WSAECONNREFUSED, 0},
        {"silent", {"127.0.0.9"}, number, Verdict::no_answer, WSAETIMEDOUT, 1},
        {"silent and refused", {"127.0.0.9", "127.0.0.8"}, number, Verdict::refused, WSAECONNREFUSED, 1},
        {"no number", {"127.0.0.1"}, 65536, Verdict::failed, WSATYPE_NOT_FOUND, 0},
        {"no such name", {}, number, Verdict::unknown_name, WSAHOST_NOT_FOUND, 0},
    };
    const size_t open_before = winapi::open_handles();
    winapi::allow_dns(false);
    for (const auto& row : rows) {
        winapi::set_host(u"printer.invalid", row.addresses);
        const FastClock clock(20);
        const DWORD begin = GetTickCount();
        const contract::PrinterCheck check = contract::CheckPrinter(W("printer.invalid"), row.port, 2000);
        EXPECT_EQ(static_cast<int>(check.verdict), static_cast<int>(row.verdict)) << row.what;
        EXPECT_EQ(check.error, row.error) << row.what;
        EXPECT_EQ(check.silent, row.silent) << row.what;
        EXPECT_GE(GetTickCount() - begin, row.silent == 0 ? 0u : 2000u) << row.what;
        EXPECT_EQ(check.wait_seconds, row.verdict == Verdict::accepted ? 21 * row.silent : 0) << row.what;
    }
    winapi::set_host(u"printer.invalid", {"127.0.0.9"});
    const std::atomic<bool> stopped = true;
    contract::CheckPrinter(W("printer.invalid"), number, 3'600'000, &stopped);
    EXPECT_EQ(winapi::open_handles(), open_before);
    winapi::allow_dns(true);
    winapi::set_host(u"printer.invalid", {});
}

TEST_F(Layer, ANameCountsAsTakenWhereTheSpoolersListCannotBeHad) {
    start({"Debug=off"});
    spooler_sim::add_foreign_port(W("LPT1:"));
    HANDLE channel = nullptr;
    winapi::fault::arm(1, winapi::fault::Mode::once);
    EXPECT_FALSE(monitor.table()->pfnXcvOpenPort(monitor.monitor(), nullptr, SERVER_ACCESS_ADMINISTER, &channel));
    winapi::fault::disarm();
    EXPECT_EQ(channel, nullptr);
    EXPECT_EQ(send_name(monitor, W("TSPortExists"), W("New")), 0u);  // finds the spooler's function, which is kept
    int lists = 0;
    DWORD code = 1;
    for (std::uint64_t call = 1; code != 0 || !winapi::fault::failed_function().empty(); ++call) {
        winapi::fault::arm(call, winapi::fault::Mode::once);
        code = send_config(monitor, W("TSAddPort"), port_config(W("New"), W("127.0.0.1"), 9100));
        winapi::fault::disarm();
        if (winapi::fault::failed_function() == "EnumPortsW") lists += code == ERROR_ALREADY_EXISTS ? 1 : 100;
        if (code == 0) send_name(monitor, W("TSDeletePort"), W("New"));
    }
    EXPECT_EQ(lists, 2);
}

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
        answer_by(script + " then " + (pieces == 12 ? "OK" : "close output"));
        {
            const FastClock clock(100);
            EXPECT_EQ(print_job("page").result, host::Result::printed);
        }
        EXPECT_EQ(arrived(1), Lines{"page"});
        EXPECT_EQ(heard(), kAsked + (pieces == 12 ? "wait\nstartdoc\nenddoc\n" : "") + "(end of input)\n");
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
}

// What failed once is told as long as the file is used.
TEST_F(HelperLimits, AWorkFileThatLostBytesStaysLost) {
    start({"Debug=off"});
    force_attributes();
    const HANDLE port = begin_document(kJob);
    winapi::fault::arm(1, winapi::fault::Mode::once);
    EXPECT_FALSE(write(port, pattern(1 << 20)));
    winapi::fault::disarm();
    ASSERT_EQ(winapi::fault::failed_function(), "fwrite");
    SetLastError(0);
    EXPECT_FALSE(write(port, "0123456789"));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DISK_FULL));
    EXPECT_EQ(written, 0u);
    EXPECT_FALSE(monitor.end_document(port));
    EXPECT_TRUE(monitor.close_port(port));
    EXPECT_EQ(logged("TSM: unable to write entire buffer. Only wrote 0 bytes to force attr input file - ", "ERROR"), 2);
    EXPECT_EQ(logged("TSM: Unable to close force attr spool file - ", "ERROR"), 1);
    EXPECT_EQ(logged("(Error: 112)", "ERROR"), 3);
    EXPECT_EQ(arrived(1), Lines{""});
    expect_clean();
}

TEST_F(HelperLimits, WithoutRoomForAWorkFilesNameTheJobIsPrintedUnchanged) {
    start({"Debug=off"});
    host::Outcome outcome;
    Lines came;
    for (std::uint64_t call = 1; call == 1 || winapi::fault::failed_function() != "calloc"; ++call) {
        force_attributes();
        winapi::fault::arm(call, winapi::fault::Mode::once);
        outcome = print_job("page");
        winapi::fault::disarm();
        ASSERT_NE(winapi::fault::failed_function(), "");
        heard();
        came = arrived();
    }
    EXPECT_EQ(outcome.result, host::Result::printed);
    EXPECT_EQ(came, Lines{"page"});
    EXPECT_EQ(logged("Could not create temporary spool file. ", "ERROR"), 1);
}

// Whoever else starts a child meanwhile gives it nothing of ours: not the log, nor the work file, nor a record.
TEST_F(HelperLimits, AHelperIsGivenNothingButItsPipes) {
    start({"IsPrintingBasedOnPortMonitor=on"});
    write_file(base / "spool/hpc/job-Office-7.dat", "");
    check_hardware();
    force_attributes();
    answer_by("on enddoc silence until looked then OK\nrun 2: on forceattr silence until seen then OK");
    host::Document job = document(W("Office"), host::memory_source("page"));
    job.job_id = kJob;
    job.progress = [](std::uint64_t) { EXPECT_EQ(winapi::inheritable_descriptors().descriptors, std::vector<int>{}); };
    auto printing = std::async(std::launch::async, [&] { return monitor.print_document(job); });
    ASSERT_TRUE(wait_until([this] { return read_file(run_folder(2) / "transcript").ends_with("forceattr\n"); }));
    // What the two helpers have open besides their standard streams: their transcripts.
    std::multiset<std::string> open;
    std::error_code error;
    for (const auto& process : fs::directory_iterator("/proc")) {
        if (fs::read_symlink(process.path() / "exe", error) != fs::canonical(base / kProgram)) continue;
        for (const auto& file : fs::directory_iterator(process.path() / "fd")) {
            const std::string target = fs::read_symlink(file.path(), error);
            if (target.starts_with(base.string()) || target.starts_with("socket:")) open.insert(target);
        }
    }
    EXPECT_EQ(open, (std::multiset<std::string>{run_folder(1) / "transcript", run_folder(2) / "transcript"}));
    release("seen");
    release("looked");
    EXPECT_EQ(printing.get().result, host::Result::printed);
    expect_clean();
}

}  // namespace
}  // namespace test
