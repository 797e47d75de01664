// A document as the printer gets it, and as the log, the record files and the spooler's job show it.
#include "tests/support/print_server.h"

namespace test {
namespace {

class Documents : public PrintServer {};

// Of the writes twenty are shown, and all are counted.
TEST_F(Documents, APrintedDocumentLeavesItsStepsInTheLog) {
    start({"Debug=on", "LogRotateCheckCount=0"});
    const DWORD begin = GetTickCount();
    EXPECT_EQ(print(W("Office"), pattern(25), 1).result, host::Result::printed);
    const DWORD longest = GetTickCount() - begin;
    const std::string all = log();
    size_t place = 0;
    for (const char* const step : {"TSM Open Port: Office",
                                   "TSM Start Doc Port - pFullPrinterName: \"Office\", JobId: 1, ",
                                   "TSM Start Doc Port - checking if notapproved file exists for JobId: 1",
                                   "TSM: get addr for 127.0.0.1",
                                   "TSM Write Port: buf count = 1",
                                   "TSM: Write Port: write data to printer of size 1",
                                   "TSM Write Port: given 1 bytes and sent 1 bytes",
                                   "Duration = ",
                                   "Perform log rotation if required.",
                                   "No log rotation as current size is ",
                                   "TSM End Doc Port",
                                   "TSM: cleanup socket",
                                   "TSM: waiting for FD_CLOSE on socket",
                                   "TSM: closesocket",
                                   "jobid: 1, Start ",
                                   "jobid: 1, Writes 25, total duration ",
                                   "total size 25 bytes",
                                   "jobid: 1, write[1/25] = ",
                                   " ms 1 bytes",
                                   "TSM EndDoc: printer: Office, jobid: 1, write[20/25] = ",
                                   "jobid: 1, End ",
                                   "jobid: 1, Total ",
                                   "TSM End Doc Port completed - return 1",
                                   "TSM ClosePort"}) {
        const size_t found = all.find(step, place);
        ASSERT_NE(found, std::string::npos) << "not in the log, or not in its place: " << step;
        place = found + 1;
    }
    for (const auto& [text, times] : {std::pair{"noting initial buf size", 1},
                                      {"write[21/25] = ", 0},
                                      {"write[20/25] = ", 1},
                                      {"Duration = ", 20}}) {
        EXPECT_EQ(logged(text), times) << text;
    }
    for (const std::string& message : log_lines()) {
        for (const std::string label : {"Duration = ", "total duration ", ", Start ", ", End ", ", Total "}) {
            const size_t at = message.find(label);
            if (at == std::string::npos) continue;
            EXPECT_LE(std::stoul(message.substr(at + label.size())), longest) << message;
        }
    }
}

TEST_F(Documents, ANotApprovedJobReachesNoPrinter) {
    start();
    const host::Outcome outcome = print_job(42, pattern(100000), true);
    EXPECT_EQ(outcome.result, host::Result::refused) << outcome.message;
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

    configure({"NotApprovedFileChecking=off"});
    restart();
    EXPECT_EQ(print_job(42, "unchecked", true).result, host::Result::printed);
    EXPECT_EQ(arrived(), (Lines{"page", "unchecked"}));
    EXPECT_TRUE(fs::exists(folder.marker(42)));
    EXPECT_EQ(logged("TSM Start Doc Port - notapproved file checking is disabled"), 1);
}

TEST_F(Documents, TheProgressRecordFollowsTheSendsWhileItExists) {
    configure({"Debug=on", "IsPrintingBasedOnPortMonitor=on", "HWCheckPortMonitorRunAsSystem=on"});
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

TEST_F(Documents, PrinterNamesOfAllKindsOpenThePrinterAndAppearInTheLog) {
    const std::string cluster = "TSM Detected cluster printername - fullname = ";
    const std::pair<Text, std::string> cases[] = {
        {W("\u0395\u03BA\u03C4\u03C5\u03C0"), "TSM detected normal printer name: \"Εκτυπ\""},
        {Text(W("half ")) + static_cast<WCHAR>(0xD83D) + W(" pair"),
         "TSM EndDoc: printer: half \xEF\xBF\xBD pair, jobid: 2, Start "},
        {W("\\One"), "TSM detected normal printer name: \"\\One\""},
        {W("\\\\SRV\\Office"), cluster + "\"\\\\SRV\\Office\", servername = \"SRV\", printername = \"Office\""},
        {W("\\\\OnlyServer"), "TSM detected cluster prefix but not backslash before printer name"},
        {W("\\\\SRV\\"), cluster + "\"\\\\SRV\\\", servername = \"SRV\", printername = \"\""},
    };
    start();
    for (const auto& [name, line] : cases) {
        spooler_sim::add_printer(name);
        EXPECT_EQ(print_job(0, "page", false, name).result, host::Result::printed) << line;
        EXPECT_EQ(logged(line), 1) << line;
        EXPECT_GE(logged("TSM Start Doc Port - pFullPrinterName: \"" + host::to_utf8(name)), 1) << line;
    }
    // A printer that the spooler does not know is reported once.
    for (const std::string level : {"ERROR", "DEBUG"}) {
        const host::Outcome outcome = print_job(9, "page", false, W("Ghost"));
        EXPECT_EQ(outcome.result, host::Result::not_started);
        EXPECT_TRUE(outcome.identity_kept);
        EXPECT_EQ(logged("TSM Start Doc Port open printer failed - ", level), 1);
    }
    EXPECT_EQ(logged("TSM Start Doc Port open printer failed - ", "ERROR"), 1);
    EXPECT_EQ(logged("(Error: 1801)"), 2);
}

// On the spooler's own threads, which impersonate nobody: every revert then fails, and the document prints all the
// same.
TEST_F(Documents, CallsThatFitNowhereLeaveTheDocumentWhole) {
    start({"Debug=on", "IsPrintingBasedOnPortMonitor=on"});
    HANDLE port = nullptr;
    ASSERT_TRUE(monitor.open_port(W("Office"), port));
    SetLastError(ERROR_DISK_FULL);
    EXPECT_FALSE(monitor.table()->pfnStartDocPort(port, nullptr, 5, 1, nullptr));
    EXPECT_EQ(logged("TSM Start Doc error in extracting printer fields - "), 1);
    EXPECT_EQ(logged("(Error: 87)"), 1);
    EXPECT_TRUE(monitor.end_document(port));
    EXPECT_EQ(logged("TSM: in End Doc but startdoc flag not set and returning true"), 1);
    char buffer[4] = "abc";
    DWORD count = 5;
    EXPECT_FALSE(monitor.table()->pfnReadPort(port, reinterpret_cast<BYTE*>(buffer), 3, &count));
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(count, 5u);

    EXPECT_EQ(begin_document(3), port);
    written = 9;
    SetLastError(0);
    EXPECT_FALSE(write(port, ""));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_TIMEOUT));
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(logged("TSM Write Port: send successful but wrote 0 bytes", "ERROR"), 1);
    EXPECT_TRUE(write(port, "first "));
    EXPECT_EQ(logged("TSM Write Port: noting initial buf size of 6"), 1);
    spooler_sim::add_job(W("Office"), 4, W("other"), W("bob"));
    EXPECT_TRUE(monitor.start_document(port, W("Office"), 4, W("other")));
    EXPECT_EQ(logged("TSM: already in startdoc and returning true"), 1);
    EXPECT_TRUE(write(port, "half"));
    EXPECT_TRUE(monitor.end_document(port));
    EXPECT_EQ(logged("TSM: Unable to RevertToPrinterSelf for logging", "ERROR"), 8);
    EXPECT_EQ(arrived(), Lines{"first half"});
    EXPECT_EQ(logged("TSM EndDoc: printer: Office, jobid: 3, Writes 3, "), 1);
    EXPECT_EQ(job(3).commands, std::vector<DWORD>{JOB_CONTROL_SENT_TO_PRINTER});
    EXPECT_TRUE(job(4).commands.empty());
}

// -- At the printer --------------------------------------------------------------------------------------------------

TEST_F(Documents, EverySizeArrivesByteForByte) {
    start({});
    const std::pair<size_t, DWORD> cases[] = {
        {0, 4096},    {1, 1},         {1000, 1},       {4095, 4096},     {4096, 4096},
        {4097, 4096}, {65536, 65536}, {200000, 65536}, {3000001, 65536}, {(5 << 20) + 3, 1 << 20},
    };
    for (const auto& [size, write_size] : cases) {
        const std::string data = pattern(size);
        const host::Outcome outcome = print(W("Office"), data, write_size);
        EXPECT_EQ(outcome.result, host::Result::printed) << outcome.message;
        EXPECT_TRUE(outcome.identity_kept);
        EXPECT_EQ(outcome.job.commands, std::vector<DWORD>{JOB_CONTROL_SENT_TO_PRINTER});
        EXPECT_TRUE(same_bytes(arrived(1), Lines{data})) << size;
        EXPECT_EQ(office->connection(office->connections() - 1).end, test_printer::End::finished);
    }
}

// The spooler decides what it makes of a document that could not be started; the log says it once at error level, and
// with Debug on in detail.
TEST_F(Documents, APrinterThatCannotBeReachedIsReportedOnceAJob) {
    ASSERT_TRUE(host::store_port(W("Far"), W("no-such-host.invalid"), 9100));
    ASSERT_TRUE(host::store_port(W("Odd"), W("127.0.0.1"), 70000));
    spooler_sim::add_printer(W("Far"));
    spooler_sim::add_printer(W("Odd"));
    start({});
    office->refuse();
    for (int attempt = 0; attempt < 3; ++attempt) EXPECT_EQ(print_job(17, "page").result, host::Result::not_started);
    EXPECT_EQ(logged("TSM Start Doc Port failed to connect to printer address: 127.0.0.1", "ERROR"), 1);
    EXPECT_EQ(logged("TSM: Failed to connect"), 0) << "details are for the debug log";
    office->listen();
    EXPECT_EQ(print_job(17, "page").result, host::Result::printed);

    office->refuse();
    configure({"Debug=on"});
    restart();
    for (const WCHAR* const name : {W("Office"), W("Far"), W("Odd")}) {
        EXPECT_EQ(print(name, "page").result, host::Result::not_started);
    }
    EXPECT_EQ(logged("TSM: Failed to connect to printer: 127.0.0.1 - ", "ERROR"), 1);
    EXPECT_EQ(logged("(Error: 10061)"), 1);
    char bytes[64];
    snprintf(bytes, sizeof bytes, "TSM: addr = 0x%x 0x%x 127 0 0 1", office->port() >> 8, office->port() & 0xFF);
    EXPECT_EQ(logged(bytes, "ERROR"), 1) << bytes;
    EXPECT_EQ(logged("TSM: unable to connect to printer by tcp", "ERROR"), 1);
    EXPECT_EQ(logged("TSM: Error looking up printer address: no-such-host.invalid", "ERROR"), 1);
    EXPECT_EQ(logged("TSM: Error looking up printer address: 127.0.0.1", "ERROR"), 1);
    EXPECT_EQ(logged("TSM: helper started but other failure and so end the helper"), 0);
}

// -- Printers that go away in the middle of a document ---------------------------------------------------------------

class LostPrinters : public Documents {
  protected:
    LostPrinters() { broken.reset_after = 100000; }
    test_printer::Behaviour broken;
};

// Lost twice: the second loss of the same job goes to the debug log.
TEST_F(LostPrinters, TheRestartedJobArrivesWhole) {
    start();
    office->behave_once(broken);
    office->behave_once(test_printer::Behaviour());  // the probe
    office->behave_once(broken);
    const std::string data = pattern(8 << 20);
    const host::Outcome outcome = print(W("Office"), data);
    EXPECT_EQ(outcome.result, host::Result::printed) << outcome.message;
    EXPECT_EQ(outcome.restarts, 2u);
    // Each time the lost connection and the probe that found the printer back, and the job's last run.
    ASSERT_TRUE(office->wait_for_ends(5));
    EXPECT_EQ(office->connection(1).bytes + office->connection(3).bytes, 0u);
    EXPECT_TRUE(same_bytes(office->connection(4).data, data));
    EXPECT_EQ(logged("TSM Write Port: failed to send data to printer, close connection", "ERROR"), 1);
    EXPECT_EQ(logged("TSM Write Port: failed to send data to printer, close connection", "DEBUG"), 1);
    EXPECT_EQ(logged("TSM: Write Port: invalid socket but reestablished connection and requested restart"), 2);
    EXPECT_EQ(logged("TSM: unable to send data to printer: ", "ERROR"), 2);
    EXPECT_EQ(logged("while waiting for FD_CLOSE event: "), 0) << "the close of a lost connection is no second loss";
}

TEST_F(LostPrinters, TheRestartIsAskedByTheCallAfterTheLoss) {
    start();
    office->behave_once(broken);
    const HANDLE port = begin_document(5);
    const std::string block = pattern(65536);
    for (int i = 0; i < 10000 && write(port, block); ++i) {
    }
    EXPECT_EQ(written, 0u) << "refused";
    EXPECT_TRUE(job(5).commands.empty()) << "the call that loses the connection asks for nothing";

    office->refuse();
    written = 77;
    EXPECT_FALSE(write(port, "x"));
    EXPECT_EQ(written, 77u) << "without a connection the count is not set";
    EXPECT_TRUE(job(5).commands.empty());
    EXPECT_EQ(logged("TSM: Write Port: failed to reconnect"), 1);

    office->listen();
    EXPECT_FALSE(write(port, "x"));
    EXPECT_EQ(job(5).commands, std::vector<DWORD>{JOB_CONTROL_RESTART});
    spooler_sim::remove_job(W("Office"), 5);
    for (int i = 0; i < 2; ++i) EXPECT_FALSE(write(port, "x"));
    EXPECT_EQ(logged("TSM Write Port: the spooler refused to restart job 5", "ERROR"), 1);
    EXPECT_EQ(logged("TSM Write Port: the spooler refused to restart job 5", "DEBUG"), 1);
    EXPECT_TRUE(monitor.end_document(port));
    EXPECT_TRUE(monitor.close_port(port));
}

// A buffer that no document was started for has no connection: the printer is looked for where the port is now.
TEST_F(LostPrinters, ABufferWithoutADocumentGoesByThePort) {
    start({});
    HANDLE port = nullptr;
    ASSERT_TRUE(monitor.open_port(W("Office"), port));
    EXPECT_FALSE(write(port, "x"));
    ASSERT_TRUE(office->wait_for_ends(1));
    test_printer::TcpPrinter other;
    ASSERT_EQ(send_config(monitor, W("TSConfigPort"), port_config(W("Office"), W("127.0.0.1"), other.port())), 0u);
    EXPECT_FALSE(write(port, "x"));
    ASSERT_TRUE(other.wait_for_ends(1));
    EXPECT_EQ(office->connections(), 1u);
    EXPECT_TRUE(monitor.close_port(port));
}

}  // namespace
}  // namespace test
