// A document as the printer gets it, and as the log, the record files and the spooler's job show it.
#include "tests/support/print_server.h"

namespace test {
namespace {

class Documents : public PrintServer {};

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

TEST_F(Documents, ANamelessPrinterIsAnInvalidParameter) {
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

TEST_F(Documents, APrintedDocumentLeavesTheseLines) {
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

TEST_F(Documents, OnlyTwentyWritesAreShownButAllAreCounted) {
    start();
    const DWORD begin = GetTickCount();
    EXPECT_EQ(print(W("Office"), pattern(25), 1).result, host::Result::printed);
    const DWORD longest = GetTickCount() - begin;
    EXPECT_EQ(logged("write[20/25] = "), 1);
    EXPECT_EQ(logged("write[21/25] = "), 0);
    EXPECT_EQ(logged("Writes 25, total duration "), 1);
    EXPECT_EQ(logged("total size 25 bytes"), 1);
    EXPECT_EQ(logged("Duration = "), 20);
    for (const std::string& message : messages("TSM Open Port")) {
        for (const std::string label : {"Duration = ", "total duration ", ", Start ", ", End ", ", Total "}) {
            const size_t place = message.find(label);
            if (place == std::string::npos) continue;
            EXPECT_LE(std::stoul(message.substr(place + label.size())), longest) << message;
        }
    }
}

TEST_F(Documents, ANotApprovedJobReachesNoPrinter) {
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

TEST_F(Documents, WithoutCheckingAMarkerIsNeitherFoundNorDeleted) {
    start({"Debug=on", "NotApprovedFileChecking=off"});
    EXPECT_EQ(print_job(42, "page", true).result, host::Result::printed);
    EXPECT_EQ(arrived(), Lines{"page"});
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
        host::Document job = document(name, host::memory_source("page"));
        job.port = W("Office");
        EXPECT_EQ(monitor.print_document(job).result, host::Result::printed) << line;
        EXPECT_EQ(logged(line), 1) << line;
        EXPECT_GE(logged("TSM Start Doc Port - pFullPrinterName: \"" + host::to_utf8(name)), 1) << line;
    }
}

TEST_F(Documents, APrinterTheSpoolerDoesNotKnowIsReportedOnce) {
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

// The spooler's own threads impersonate nobody; every revert then fails, and the document prints all the same.
TEST_F(Documents, WithoutAClientTheDocumentPrintsAsItIs) {
    start({"Debug=on", "IsPrintingBasedOnPortMonitor=on"});
    const HANDLE port = begin_document(3);
    EXPECT_TRUE(write(port, "page"));
    EXPECT_TRUE(monitor.end_document(port));
    EXPECT_EQ(arrived(), Lines{"page"});
}

TEST_F(Documents, AnEmptyWriteFailsWithATimeOutAndKeepsTheConnection) {
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

TEST_F(Documents, ASecondStartLeavesTheDocumentInProgressWhole) {
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

TEST_F(Documents, AnEndWithoutAStartIsHarmless) {
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

// -- At the printer --------------------------------------------------------------------------------------------------

TEST_F(Documents, EverySizeArrivesByteForByte) {
    start({});
    const std::pair<size_t, DWORD> cases[] = {
        {0, 4096},    {1, 1},         {1000, 1},       {4095, 4096},     {4096, 4096},
        {4097, 4096}, {65536, 65536}, {200000, 65536}, {3000001, 65536}, {(5 << 20) + 3, 1 << 20},
    };
    size_t connection = 0;
    for (const auto& [size, write_size] : cases) {
        const std::string data = pattern(size);
        const host::Outcome outcome = print(W("Office"), data, write_size);
        EXPECT_EQ(outcome.result, host::Result::printed) << outcome.words;
        EXPECT_TRUE(outcome.identity_kept);
        EXPECT_EQ(outcome.job.commands, std::vector<DWORD>{JOB_CONTROL_SENT_TO_PRINTER});
        ASSERT_TRUE(office->wait_for_ends(connection + 1));
        const peer::Connection received = office->connection(connection++);
        EXPECT_TRUE(received.data == data) << size;
        EXPECT_EQ(received.end, peer::End::finished);
    }
    EXPECT_EQ(office->connections(), connection);
}

// A large document goes through without being held: neither the monitor nor anybody else keeps it.
TEST_F(Documents, MemoryDoesNotGrowWithTheDocument) {
    constexpr std::uint64_t kSmall = 32 << 20;  // for what grows once, of a sanitizer say
    constexpr std::uint64_t kLarge = 256 << 20;
    configure({});
    peer::TcpPrinter& printer = add_printer(W("Office"));
    peer::Behaviour forgetful;
    forgetful.keep_bytes = 0;
    printer.behave(forgetful);
    load();

    const std::string block = pattern(1 << 20);
    const auto repeated = [&block](std::uint64_t size) {
        host::Source source;
        source.size = size;
        source.rewind = [] { return true; };
        source.read = [&block](char* buffer, size_t count) { return block.copy(buffer, count); };
        return source;
    };
    EXPECT_EQ(monitor.print_document(document(W("Office"), repeated(kSmall))).result, host::Result::printed);
    const size_t before = peak_memory();
    EXPECT_EQ(monitor.print_document(document(W("Office"), repeated(kLarge))).result, host::Result::printed);
    EXPECT_LT(peak_memory() - before, size_t{4} << 20);
    ASSERT_TRUE(printer.wait_for_ends(2));
    EXPECT_EQ(printer.connection(1).bytes, kLarge);
}

// The spooler decides what it makes of a document that could not be started; the log says it once at error level.
TEST_F(Documents, AnUnreachablePrinterIsReportedOnceAJob) {
    start({});
    office->refuse();
    for (int attempt = 0; attempt < 3; ++attempt) EXPECT_EQ(print_job(17, "page").result, host::Result::not_started);
    EXPECT_EQ(logged("TSM Start Doc Port failed to connect to printer address: 127.0.0.1", "ERROR"), 1);
    EXPECT_EQ(logged("TSM: Failed to connect"), 0) << "details are for the debug log";

    office->listen();
    EXPECT_EQ(print_job(17, "page").result, host::Result::printed);
}

TEST_F(Documents, WithDebugLoggingAFailedConnectIsTold) {
    ASSERT_TRUE(host::store_port(W("Far"), W("no-such-host.invalid"), 9100));
    ASSERT_TRUE(host::store_port(W("Odd"), W("127.0.0.1"), 70000));
    spooler_sim::add_printer(W("Far"));
    spooler_sim::add_printer(W("Odd"));
    start();
    office->refuse();

    EXPECT_EQ(print(W("Office"), "page").result, host::Result::not_started);
    EXPECT_EQ(logged("TSM: Failed to connect to printer: 127.0.0.1 - ", "ERROR"), 1);
    EXPECT_EQ(logged("(Error: 10061)"), 1);
    const unsigned port = office->port();
    char bytes[64];
    snprintf(bytes, sizeof bytes, "TSM: addr = 0x%x 0x%x 127 0 0 1", port >> 8, port & 0xFF);
    EXPECT_EQ(logged(bytes, "ERROR"), 1) << bytes;
    EXPECT_EQ(logged("TSM: unable to connect to printer by tcp", "ERROR"), 1);

    EXPECT_EQ(print(W("Far"), "page").result, host::Result::not_started);
    EXPECT_EQ(logged("TSM: Error looking up printer address: no-such-host.invalid", "ERROR"), 1);
    EXPECT_EQ(print(W("Odd"), "page").result, host::Result::not_started);
    EXPECT_EQ(logged("TSM: Error looking up printer address: 127.0.0.1", "ERROR"), 1);
}

}  // namespace
}  // namespace test
