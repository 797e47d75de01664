// The course of a document as the log, the record files and the spooler's job show it.
#include "tests/support/print_server.h"

namespace test {
namespace {

class Course : public PrintServer {};

// Durations, identifiers and the build's version put aside.
std::string without_numbers(const std::string& message) {
    std::string text;
    for (const char character : message) {
        const bool digit = character >= '0' && character <= '9';
        if (!digit) {
            text += character;
        } else if (text.empty() || text.back() != '#') {
            text += '#';
        }
    }
    return text;
}

TEST_F(Course, ANamelessPrinterIsAnInvalidParameter) {
    start();
    HANDLE port = nullptr;
    ASSERT_TRUE(monitor.open_port(W("Office"), port));
    SetLastError(ERROR_DISK_FULL);
    EXPECT_FALSE(monitor.table()->pfnStartDocPort(port, nullptr, 5, 1, nullptr));
    const Lines lines = messages("TSM Start Doc error in extracting printer fields");
    ASSERT_FALSE(lines.empty());
    EXPECT_TRUE(lines[0].ends_with("(Error: 87)")) << lines[0];
    EXPECT_TRUE(monitor.close_port(port));
}

TEST_F(Course, APrintedDocumentLeavesTheseLines) {
    start({"Debug=on", "LogRotateCheckCount=0"});
    EXPECT_EQ(print(W("Office"), pattern(5000), 4096).result, host::Result::printed);

    const Lines expected = {
        "TSM Open Port: Office",
        "TSM Start Doc Port - pFullPrinterName: \"Office\", JobId: #, Version: #.#.# (Tessaron)",
        "TSM detected normal printer name: \"Office\"",
        "TSM Start Doc Port - checking if notapproved file exists for JobId: #",
        "TSM Start Doc Port - notapproved path: @spool\\notapprovedjobs",
        "TSM: get addr for #.#.#.#",
        "TSM Write Port: buf count = #",
        "TSM Write Port: noting initial buf size of #",
        "TSM: Write Port: write data to printer of size #",
        "TSM Write Port: given # bytes and sent # bytes",
        "Duration = #",
        "TSM Write Port: buf count = #",
        "TSM: Write Port: write data to printer of size #",
        "TSM Write Port: given # bytes and sent # bytes",
        "Duration = #",
        "Perform log rotation if required.",
        "No log rotation as current size is #, rotation size is #, counter is #",
        "TSM End Doc Port",
        "TSM: cleanup socket",
        "TSM: waiting for FD_CLOSE on socket",
        "TSM: closesocket",
        "TSM EndDoc: printer: Office, jobid: #, Start # ms",
        "TSM EndDoc: printer: Office, jobid: #, Writes #, total duration # ms, total size # bytes",
        "TSM EndDoc: printer: Office, jobid: #, write[#/#] = # ms # bytes",
        "TSM EndDoc: printer: Office, jobid: #, write[#/#] = # ms # bytes",
        "TSM EndDoc: printer: Office, jobid: #, End # ms",
        "TSM EndDoc: printer: Office, jobid: #, Total # ms",
        "TSM End Doc Port completed - return #",
        "TSM ClosePort",
    };
    const Lines found = messages("TSM Open Port");
    Lines shown;
    for (const std::string& message : found) {
        std::string text = without_numbers(message);
        const size_t base = text.find("path: ");
        if (base != std::string::npos) text.replace(base + 6, text.find("spool\\") - base - 6, "@");
        // What belongs to features beside the road from the spooler to the socket.
        if (text.find("TSM Start Doc: ") == 0 || text.find("force attr") != std::string::npos ||
            text.find("TSM End Doc: ") == 0 || text.find("msf") != std::string::npos ||
            text.find("Printer settings file") == 0) {
            continue;
        }
        shown.push_back(text);
    }
    EXPECT_EQ(shown, expected);
    EXPECT_EQ(logged("TSM EndDoc: printer: Office, jobid: 1, write[2/2] = "), 1);
    EXPECT_EQ(logged(" ms 904 bytes"), 1);
}

TEST_F(Course, OnlyTwentyWritesAreShownButAllAreCounted) {
    start();
    EXPECT_EQ(print(W("Office"), pattern(25), 1).result, host::Result::printed);
    EXPECT_EQ(logged("write[20/25] = "), 1);
    EXPECT_EQ(logged("write[21/25] = "), 0);
    EXPECT_EQ(logged("Writes 25, total duration "), 1);
    EXPECT_EQ(logged("total size 25 bytes"), 1);
    EXPECT_EQ(logged("Duration = "), 20);
}

TEST_F(Course, ANotApprovedJobReachesNoPrinter) {
    start();
    const host::Outcome outcome = print_job(42, pattern(100000), true);
    EXPECT_EQ(outcome.result, host::Result::refused) << outcome.words;
    EXPECT_EQ(outcome.bytes, 100000u) << "the job's data is accepted";
    EXPECT_EQ(outcome.job.commands, std::vector<DWORD>{JOB_CONTROL_SENT_TO_PRINTER});
    EXPECT_EQ(arrived(), Lines{});
    EXPECT_FALSE(fs::exists(folder.marker(42)));
    EXPECT_EQ(logged("Tessaron TCP/IP Port has detected that job 42 on printer \"Office\" has been resumed outside of "
                     "Tessaron's control. Printing of this job will be prevented.",
                     "INFO"),
              1);
    EXPECT_EQ(logged("TSM Write Port - abandon as JobId: 42 has an associated notapproved file"), 2);
    EXPECT_EQ(logged("TSM End Doc Port - abandon as JobId: 42 has an associated notapproved file"), 1);
    EXPECT_EQ(print_job(42, "page").result, host::Result::printed) << "the marker counts once";
}

TEST_F(Course, WithoutCheckingAMarkerIsNeitherFoundNorDeleted) {
    start({"Debug=on", "NotApprovedFileChecking=off"});
    EXPECT_EQ(print_job(42, "page", true).result, host::Result::printed);
    EXPECT_EQ(arrived(), Lines{"page"});
    EXPECT_TRUE(fs::exists(folder.marker(42)));
    EXPECT_EQ(logged("TSM Start Doc Port - notapproved file checking is disabled"), 1);
}

TEST_F(Course, TheProgressRecordFollowsTheSendsWhileItExists) {
    configure({"Debug=on", "IsPrintingBasedOnPortMonitor=on"});
    add_printer(W("P/1"));
    load();
    const std::string record = folder.spool("hpc") + "/job-P_1-7.dat";
    host::Document job = document(W("P/1"), host::memory_source(pattern(300)), 100);
    job.job_id = 7;
    EXPECT_EQ(monitor.print_document(job).result, host::Result::printed);
    EXPECT_FALSE(fs::exists(record)) << "the monitor creates none";
    EXPECT_EQ(logged("TSM Write Port - will not write hpc file as no longer exists for job 7"), 3);

    write_file(record, "created by the service" + std::string(100, '.'));
    Lines seen;
    job.progress = [&](std::uint64_t) { seen.push_back(read_file(record)); };
    EXPECT_EQ(monitor.print_document(job).result, host::Result::printed);
    Lines expected;
    for (const char* const count : {"1", "2", "3"}) {
        expected.push_back(std::string("# TS Serialize Data\r\nversion=1\r\nwrite_port=") + count + "\r\n#END\r\n");
    }
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(logged("TSM Write Port - wrote out hpc serialize file for job 7"), 3);
}

TEST_F(Course, PrinterNamesOfAllKindsAppearInTheLog) {
    const std::pair<Text, std::string> cases[] = {
        {W("\u0395\u03BA\u03C4\u03C5\u03C0\u03C9\u03C4\u03AE\u03C2"), "Εκτυπωτής"},
        {W("\u041F\u0440\u0438\u043D\u0442\u0435\u0440"), "Принтер"},
        {W("\u30D7\u30EA\u30F3\u30BF"), "プリンタ"},
        {Text(W("half ")) + static_cast<WCHAR>(0xD83D) + W(" pair"), "half \xEF\xBF\xBD pair"},
    };
    for (const auto& [name, shown] : cases) add_printer(name);
    start();
    for (const auto& [name, shown] : cases) {
        EXPECT_EQ(print(name, "page").result, host::Result::printed) << shown;
        EXPECT_EQ(logged("TSM Start Doc Port - pFullPrinterName: \"" + shown + "\", JobId: "), 1) << shown;
        EXPECT_EQ(logged("TSM EndDoc: printer: " + shown + ", jobid: "), 5) << shown;
    }
}

TEST_F(Course, AClusterNameIsSplitAndStillOpensThePrinterByItsWholeName) {
    configure({"Debug=on"});
    add_printer(W("Office"));
    const Text names[] = {W("\\\\SRV\\Office"), W("\\\\OnlyServer"), W("\\\\SRV\\")};
    for (const Text& name : names) spooler_sim::add_printer(name);
    load();
    for (const Text& name : names) {
        host::Document job = document(name, host::memory_source("page"));
        job.port = W("Office");
        EXPECT_EQ(monitor.print_document(job).result, host::Result::printed) << host::to_utf8(name);
    }
    EXPECT_EQ(logged("TSM Detected cluster printername - fullname = \"\\\\SRV\\Office\", servername = \"SRV\", "
                     "printername = \"Office\""),
              1);
    EXPECT_EQ(logged("TSM detected cluster prefix but not backslash before printer name"), 1);
    EXPECT_EQ(logged("servername = \"SRV\", printername = \"\""), 1);
}

TEST_F(Course, APrinterTheSpoolerDoesNotKnowIsReportedOnce) {
    start();
    host::Document job = document(W("Ghost"), host::memory_source("page"));
    job.port = W("Office");
    job.job_id = 9;
    for (int attempt = 0; attempt < 2; ++attempt) {
        const host::Outcome outcome = monitor.print_document(job);
        EXPECT_EQ(outcome.result, host::Result::not_started);
        EXPECT_TRUE(outcome.identity_kept);
    }
    EXPECT_EQ(logged("TSM Start Doc Port open printer failed - ", "ERROR"), 1);
    EXPECT_EQ(logged("TSM Start Doc Port open printer failed - ", "DEBUG"), 1);
    EXPECT_EQ(logged("(Error: 1801)"), 2);
}

TEST_F(Course, WholeOperationsRunAsTheSpoolerWhenTheSettingSaysSo) {
    start({"Debug=on", "HWCheckPortMonitorRunAsSystem=on"});
    const host::Outcome outcome = print(W("Office"), "page");
    EXPECT_EQ(outcome.result, host::Result::printed);
    EXPECT_TRUE(outcome.identity_kept);
}

// The spooler's own threads impersonate nobody; every revert then fails, and the document prints all the same.
TEST_F(Course, WithoutAClientTheDocumentPrintsAsItIs) {
    start({"Debug=on", "IsPrintingBasedOnPortMonitor=on"});
    const HANDLE port = begin_document(3);
    EXPECT_TRUE(write(port, "page"));
    EXPECT_TRUE(monitor.end_document(port));
    EXPECT_EQ(arrived(), Lines{"page"});
}

TEST_F(Course, AnEmptyWriteFailsWithATimeOutAndKeepsTheConnection) {
    start();
    const HANDLE port = begin_document(3);
    written = 9;
    SetLastError(0);
    EXPECT_FALSE(write(port, ""));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_TIMEOUT));
    EXPECT_EQ(written, 0u);
    EXPECT_TRUE(write(port, "page"));
    EXPECT_TRUE(monitor.end_document(port));
    EXPECT_EQ(arrived(), Lines{"page"});
    EXPECT_EQ(logged("TSM Write Port: send successful but wrote 0 bytes", "ERROR"), 1);
    EXPECT_EQ(logged("TSM Write Port: noting initial buf size of 4"), 1);
}

TEST_F(Course, ASecondStartLeavesTheDocumentInProgressWhole) {
    start();
    spooler_sim::add_job(W("Office"), 4, W("other"), W("bob"));
    const HANDLE port = begin_document(3);
    EXPECT_TRUE(write(port, "first "));
    EXPECT_TRUE(monitor.start_document(port, W("Office"), 4, W("other")));
    EXPECT_EQ(logged("TSM: already in startdoc and returning true"), 1);
    EXPECT_TRUE(write(port, "half"));
    EXPECT_TRUE(monitor.end_document(port));
    EXPECT_EQ(arrived(), Lines{"first half"});
    EXPECT_EQ(logged("TSM EndDoc: printer: Office, jobid: 3, Writes 2, "), 1);
    EXPECT_EQ(job(3).commands, std::vector<DWORD>{JOB_CONTROL_SENT_TO_PRINTER});
    EXPECT_TRUE(job(4).commands.empty());
}

TEST_F(Course, AnEndWithoutAStartIsHarmless) {
    start();
    HANDLE port = nullptr;
    ASSERT_TRUE(monitor.open_port(W("Office"), port));
    EXPECT_TRUE(monitor.end_document(port));
    EXPECT_EQ(logged("TSM: in End Doc but startdoc flag not set and returning true"), 1);
    char buffer[4] = "abc";
    DWORD count = 5;
    EXPECT_FALSE(monitor.table()->pfnReadPort(port, reinterpret_cast<BYTE*>(buffer), 3, &count));
    EXPECT_EQ(count, 5u);
    EXPECT_STREQ(buffer, "abc");
}

}  // namespace
}  // namespace test
