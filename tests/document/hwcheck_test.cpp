// Documents on a printer whose hardware is checked: each outcome as the helper hears it, as the printer gets it, and as
// the spooler shows it.
#include "tests/support/helper_script.h"
#include "tests/support/reported.h"

namespace test {
namespace {

using Statuses = std::vector<DWORD>;

class HardwareCheck : public HelperServer {
  protected:
    void start(const Lines& settings = {}, bool with_helper = true) {
        HelperServer::start(settings, with_helper);
        check_hardware();
    }
    void TearDown() override {
        if (monitor.loaded()) expect_clean();
    }
    // Prints until the helper, who answers by this script, holds the job and the printer shows that status.
    std::future<host::Outcome> print_and_hold(const std::string& script, DWORD status,
                                              const std::string& data = "page") {
        answer_by(script);
        auto printing = print_job_meanwhile(data);
        EXPECT_TRUE(wait_until([status] { return spooler_sim::printer_status(W("Office")) == status; }));
        return printing;
    }
};

constexpr DWORD kPrinting = JOB_STATUS_PRINTING;
constexpr DWORD kError = JOB_STATUS_PRINTING | JOB_STATUS_ERROR;
constexpr DWORD kPaperOut = JOB_STATUS_PRINTING | JOB_STATUS_PAPEROUT;

const std::string kName = "printername=Office\n";
const std::string kAddress = kName + "printeraddress=127.0.0.1\n";
const std::string kJobId = kAddress + "jobid=7\n";
const std::string kWait = kJobId + "wait\n";
const std::string kStart = kWait + "startdoc\n";
const std::string kClosed = "(end of input)\n";
const std::string kExit = "(exit)\n";
const std::string kWhole = kStart + "enddoc\n" + kClosed;

TEST_F(HardwareCheck, EveryOutcome) {
    enum Arrival { printed, nothing, no_connection };
    // clang-format off
    const struct {
        std::string script;
        std::string heard;
        std::string line = "";           // a line of the log
        Statuses job = {kPrinting};      // every status the job has had until it is printed
        Statuses printer = {};
        Arrival arrival = printed;
    } cases[] = {
        {"", kWhole, "TSM Start Doc: sent <Office, 127.0.0.1, 7, startdoc>"},
        // held
        {"on startdoc WAIT \"Door Open\" for 20 ms then WAIT then OK", kStart + "OK\nOK\nenddoc\n" + kClosed,
         "TSM: extracted wait error string = \"Door Open\"", {kPrinting, kError, kPrinting}, {PRINTER_STATUS_DOOR_OPEN, 0}},
        {"on wait WAIT \"No Paper\" then WAIT \"No Paper\" then WAIT \"Jammed, Offline\" then OK",
         kWait + "OK\nOK\nOK\nstartdoc\nenddoc\n" + kClosed, "", {kPrinting, kPaperOut, kError, kPrinting},
         {PRINTER_STATUS_PAPER_OUT, PRINTER_STATUS_PAPER_JAM, 0}},
        {"on enddoc WAIT \"Output Full\" then OK", kStart + "enddoc\nOK\n" + kClosed, "", {kPrinting, kError, kPrinting},
         {PRINTER_STATUS_OUTPUT_BIN_FULL, 0}},
        {"on wait say \"WAIT ERROR=No Paper\\n\"", kWait + "OK\nstartdoc\nenddoc\n" + kClosed},
        // dropped
        {"on startdoc WAIT \"Job Suspended\" then DELETE", kStart + "OK\n" + kClosed,
         "TSM Start Doc Port - abandon as JobId: 7 has been marked for deletion.", {kPrinting, kError, kPrinting}, {}, no_connection},
        {"on wait DELETE", kWhole},
        // refused: once more after these two commands only
        {"run 1: on printeraddress ERROR", kAddress + kClosed + kWhole},
        {"on printeraddress ERROR", kAddress + kClosed + kAddress + kClosed},
        {"run 1: on startdoc ERROR\nrun 2: on startdoc DELETE", kStart + kClosed + kStart + kClosed,
         "TSM End Doc Port - abandon as JobId: 7 is marked for deletion.", {kPrinting}, {}, nothing},
        {"on printername ERROR", kName + kClosed, "Failed printername command in helper"},
        {"on wait ERROR", kWait + kClosed, "TSM Start Doc: Failed wait command in helper"},
        {"on jobid WAIT \"Offline\" then ERROR", kJobId + "OK\n" + kClosed, "TSM Start Doc: Failed jobid command in helper",
         {kPrinting, kError}, {PRINTER_STATUS_ERROR}},
        {"on enddoc ERROR", kWhole, "TSM End Doc: Failed to write enddoc"},
        // unreadable, and in pieces
        {"on any say \"OKAY, go on\\n\"", kWhole},
        {"on jobid say \" OK\\n\"", kJobId + kClosed, "TSM: give up due to bad response"},
        {"on jobid say \"O\" then taken then say \"K\\n\"", kJobId + kClosed},
        {"on jobid say \".\" then taken then OK", kWhole, "TSM: try reading again"},
        // gone
        {"on jobid say \"O\" then exit", kJobId + kExit, "(nbytes = 1): \"OXXXXXXXX"},
        {"on wait close output", kWait + kClosed, "TSM: error in ReadFile"},
        {"on any exit", kName + kExit},
        {"on printeraddress exit", kAddress + kExit + kAddress + kExit},
        {"on wait exit", kWait + kExit},
        {"on startdoc exit", kStart + kExit + kStart + kExit},
        {"on startdoc OK then exit", kStart + kExit, "TSM End Doc: Failed to write enddoc"},
        {"on enddoc exit", kStart + "enddoc\n" + kExit},
        {"on startdoc WAIT \"Low Paper\" then exit", kStart + "OK\n" + kExit + kStart + "OK\n" + kExit, "",
         {kPrinting, kError}, {PRINTER_STATUS_ERROR}},
    };
    // clang-format on
    start();
    const std::string page = pattern(100000);
    for (const auto& row : cases) {
        SCOPED_TRACE(row.script);
        answer_by(row.script);
        const size_t seen = spooler_sim::printer_status_seen(W("Office")).size();
        const int logged_before = logged(row.line);
        const host::Outcome outcome = print_job(page);
        EXPECT_EQ(outcome.result, row.arrival == printed ? host::Result::printed : host::Result::dropped);
        EXPECT_TRUE(outcome.identity_kept);
        EXPECT_EQ(heard(), row.heard);
        Statuses job = row.job;
        job.push_back((job.back() & ~kPrinting) | JOB_STATUS_PRINTED);
        EXPECT_EQ(outcome.job.status_seen, job);
        EXPECT_EQ(outcome.job.commands, Statuses{JOB_CONTROL_SENT_TO_PRINTER});
        Statuses printer = spooler_sim::printer_status_seen(W("Office"));
        printer.erase(printer.begin(), printer.begin() + static_cast<std::ptrdiff_t>(seen));
        EXPECT_EQ(printer, row.printer);
        const Lines expected[] = {{page}, {""}, {}};
        EXPECT_TRUE(same_bytes(arrived(), expected[row.arrival]));
        EXPECT_TRUE(row.line.empty() || logged(row.line) > logged_before);
        expect_clean();
    }
    EXPECT_EQ(logged("TSM: extracted wait error string = \"\""), 0);
}

// A new address counts from the next document on, not for one that is held, nor for its reconnection.
TEST_F(HardwareCheck, AHeldDocumentKeepsItsAddress) {
    start();
    test_printer::TcpPrinter::Options options;
    options.address = "127.0.0.2";
    auto elsewhere = std::make_unique<test_printer::TcpPrinter>(options);
    test_printer::Behaviour broken;
    broken.reset_after = 100000;
    office->behave_once(broken);
    auto printing =
        print_and_hold("run 1: on printername WAIT \"Door Open\" until changed then OK\nrun 1: on startdoc ERROR",
                       PRINTER_STATUS_DOOR_OPEN, pattern(8 << 20));
    ASSERT_EQ(send_config(monitor, W("TSConfigPort"), port_config(W("Office"), W("127.0.0.2"), elsewhere->port())), 0u);
    release("changed");
    const host::Outcome outcome = printing.get();
    EXPECT_EQ(outcome.result, host::Result::printed) << outcome.message;
    EXPECT_EQ(outcome.restarts, 1u);
    ASSERT_TRUE(office->wait_for_ends(3) && elsewhere->wait_for_ends(1))
        << "first page, loss, reconnection; the job again";
    EXPECT_EQ(office->connection(2).bytes, 0u);
    EXPECT_EQ(elsewhere->connection(0).bytes, std::uint64_t{8 << 20});
    const std::string all = heard();
    EXPECT_LT(all.rfind("=127.0.0.1"), all.find("=127.0.0.2")) << "held, tried once more, and the job again";
    EXPECT_NE(all.find("=127.0.0.2"), std::string::npos);
    arrived();
    elsewhere.reset();
    ASSERT_EQ(send_config(monitor, W("TSConfigPort"), port_config(W("Office"), W("127.0.0.1"), office->port())), 0u);
}

// The spooler may close a port under a document without ending it first, before the port is deleted or after that.
TEST_F(HardwareCheck, ADeletedPortLetsGoOfTheDocumentItWasPrinting) {
    start();
    for (const auto& [closed_first, forced] : {std::pair{true, false}, {false, false}, {false, true}}) {
        if (forced) force_attributes();
        const HANDLE port = begin_document(kJob);
        ASSERT_TRUE(write(port, "half a page"));
        EXPECT_TRUE(!closed_first || monitor.close_port(port));
        ASSERT_EQ(send_name(monitor, W("TSDeletePort"), W("Office")), 0u);
        EXPECT_TRUE(closed_first || monitor.close_port(port));
        EXPECT_EQ(arrived(1), Lines{forced ? "" : "half a page"});
        EXPECT_EQ(spooler_sim::open_printers(), 0u);
        EXPECT_EQ(heard(), kStart + kClosed);
        const Lines records = {"job-Office-7.dat", "msf-Office-7.dat"};
        EXPECT_EQ(work_files(), forced ? records : Lines{}) << "the job may be printed on another port";
        EXPECT_EQ(logged("TSM: Unable to delete force attr spool path"), 0);
        spooler_sim::remove_job(W("Office"), kJob);
        ASSERT_EQ(send_config(monitor, W("TSAddPort"), port_config(W("Office"), W("127.0.0.1"), office->port())), 0u);
        expect_clean();
    }
}

TEST_F(HardwareCheck, AnUnreachablePrinterEndsTheHelper) {
    start();
    office->refuse();
    EXPECT_EQ(print_job("page").result, host::Result::not_started);
    EXPECT_EQ(heard(), kStart + "end\n" + kClosed);
    answer_by("on end exit");
    EXPECT_EQ(print_job("page").result, host::Result::not_started);
    EXPECT_EQ(logged("TSM: Failed to write end", "ERROR"), 1);
    EXPECT_EQ(logged("TSM: helper started but other failure and so end the helper"), 2);
    office->listen();
}

TEST_F(HardwareCheck, AJobDeletedWhileItIsHeldIsReleasedAtTheNextAnswer) {
    start();
    auto printing =
        print_and_hold("run 1: on startdoc WAIT \"No Toner\" then silence until deleted then WAIT \"No Toner\" then OK",
                       PRINTER_STATUS_NO_TONER);
    EXPECT_EQ(printing.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    spooler_sim::set_job_status(W("Office"), kJob, kError | JOB_STATUS_DELETING);
    release("deleted");
    const host::Outcome outcome = printing.get();
    EXPECT_EQ(outcome.result, host::Result::printed) << "the spooler drops the data of a deleted job itself";
    EXPECT_EQ(heard(), kStart + "OK\nSTOP\n" + kClosed + kWhole);
    const Statuses seen = {kPrinting, kError, kError | JOB_STATUS_DELETING, kPrinting | JOB_STATUS_DELETING,
                           JOB_STATUS_PRINTED | JOB_STATUS_DELETING};
    EXPECT_EQ(outcome.job.status_seen, seen);
    EXPECT_EQ(spooler_sim::printer_status(W("Office")), 0u);
    const Reported reported(log());
    EXPECT_EQ(reported.named(), std::multiset<std::string>{"job.deleted-while-held"}) << reported.report_text;
    EXPECT_EQ(reported.text(reported.documents.back()->held_for), "No Toner");
}

TEST_F(HardwareCheck, AClusterNameHasItsServerAnnounced) {
    start();
    const std::string page = "page";
    // A command takes 4095 bytes: "servername=", the name, and the line feed.
    for (const size_t length : {size_t{3}, size_t{4083}, size_t{4084}}) {
        const std::string server(length, 'S');
        const Text name = W("\\\\") + host::to_text(server) + W("\\Office");
        spooler_sim::add_printer(name);
        EXPECT_EQ(print_job(page, 100, name).result, host::Result::printed);
        EXPECT_EQ(arrived(), Lines{page});
        const std::string rest = "printeraddress=127.0.0.1\njobid=7\nwait\nstartdoc\nenddoc\n";
        EXPECT_EQ(heard(), kName + (length < 4084 ? "servername=" + server + "\n" + rest : "") + kClosed);
        expect_clean();
    }
    EXPECT_EQ(logged("TSM: command to helper is too long for name \"servername\"", "ERROR"), 1);
    EXPECT_EQ(logged("TSM Start Doc: Failed servername command in helper", "ERROR"), 1);
}

TEST_F(HardwareCheck, OnlyAWholeRecordThatSaysSnmpCounts) {
    const std::string whole = testbed::settings_record();
    start();
    for (const std::string& record :
         {std::string(whole).replace(whole.find("SNMP"), 4, "DEVICE-API"),
          std::string(whole).replace(whole.find("HIDE_NONE"), 9, "HIDE_SOME"),
          std::string(whole).replace(whole.find("is_virtual"), 10, "colour"), whole.substr(0, whole.find("#END"))}) {
        write_file(testbed::settings_record_path(folder, "Office"), record);
        EXPECT_EQ(print_job("page").result, host::Result::printed);
        EXPECT_EQ(arrived(), Lines{"page"});
        EXPECT_EQ(heard(), "") << record;
    }
}

// -- What the job and its printer show while a helper holds the job: only our own bits come and go ----------

TEST_F(HardwareCheck, WhatOthersSetMeanwhileSurvives) {
    start();
    auto printing = print_and_hold(
        "on startdoc WAIT \"Door Open\" until other then WAIT \"No Paper\" then WAIT \"No Paper, Low Toner\" then OK",
        PRINTER_STATUS_DOOR_OPEN);
    spooler_sim::set_printer_status(W("Office"), PRINTER_STATUS_DOOR_OPEN | PRINTER_STATUS_PAUSED);
    spooler_sim::set_job_status(W("Office"), kJob, kPrinting | JOB_STATUS_ERROR | JOB_STATUS_PAUSED);
    release("other");
    const host::Outcome outcome = printing.get();
    EXPECT_EQ(outcome.result, host::Result::printed);
    constexpr DWORD kOther = JOB_STATUS_PAUSED;
    const Statuses job = {
        kPrinting, kError, kError | kOther, kPaperOut | kOther, kPrinting | kOther, JOB_STATUS_PRINTED | kOther};
    EXPECT_EQ(outcome.job.status_seen, job) << "a problem that stays is not written again";
    constexpr DWORD kPaused = PRINTER_STATUS_PAUSED;
    const Statuses printer = {PRINTER_STATUS_DOOR_OPEN, PRINTER_STATUS_DOOR_OPEN | kPaused,
                              PRINTER_STATUS_PAPER_OUT | kPaused,
                              PRINTER_STATUS_PAPER_OUT | PRINTER_STATUS_TONER_LOW | kPaused, kPaused};
    EXPECT_EQ(spooler_sim::printer_status_seen(W("Office")), printer);
    EXPECT_EQ(logged("TSM: setting printer status to: "), 4);
}

TEST_F(HardwareCheck, NothingIsTouchedWhereTheProviderShowsTheProblem) {
    start({"ErrorPollMethod=snmp"});
    const std::string untouched = "Don't update windows error state as print provider is doing it";
    for (const bool touches : {false, true}) {
        answer_by("on startdoc WAIT \"Offline\" then OK\non enddoc WAIT \"Jammed\" then DELETE");
        const int before = logged(untouched);
        const size_t seen = spooler_sim::printer_status_seen(W("Office")).size();
        const host::Outcome outcome = print_job("page");
        EXPECT_EQ(outcome.result, host::Result::printed);
        EXPECT_EQ(arrived(), Lines{"page"});
        EXPECT_EQ(outcome.job.status_seen.size(), touches ? 6u : 2u);
        EXPECT_EQ(spooler_sim::printer_status_seen(W("Office")).size() - seen, touches ? 4u : 0u);
        EXPECT_EQ(logged(untouched) > before, !touches);
        expect_clean();
        configure({"ErrorPollMethod=both"});
        start_monitor();
    }
}

// The spooler refuses: what was shown stays on record until it can be taken back, and the job goes on.
TEST_F(HardwareCheck, AJobThatIsGoneIsReportedAndDoesNotHoldTheDocument) {
    start();
    auto printing = print_and_hold("on startdoc WAIT \"Door Open\" until gone then WAIT \"Jammed\" then OK",
                                   PRINTER_STATUS_DOOR_OPEN);
    spooler_sim::remove_job(W("Office"), kJob);
    release("gone");
    EXPECT_EQ(printing.get().result, host::Result::printed);
    EXPECT_EQ(heard(), kStart + "OK\nOK\nenddoc\n" + kClosed);
    EXPECT_EQ(arrived(), Lines{"page"});
    // Once more when the job goes between the first status and the look at it.
    EXPECT_GE(logged("TSM: unable to get job status for job 7", "ERROR"), 1);
    EXPECT_GE(logged("TSM: Unable to get print job info. JobId: 7"), 2);
    EXPECT_EQ(spooler_sim::printer_status(W("Office")), 0u);
}

// -- Where the helper is ---------------------------------------------------------------------------------------------

TEST_F(HardwareCheck, AHelperThatAppearsAfterTheStartIsFound) {
    start({}, false);
    const std::string missing = "TSM: Could not access the install path for ";
    EXPECT_EQ(logged(missing, "ERROR"), 2);
    EXPECT_EQ(print_job("page").result, host::Result::printed);
    EXPECT_EQ(logged(missing, "ERROR"), 4);
    const Lines lines = log_lines();
    const auto line_with = [&lines](const std::string& text) {
        return std::find_if(lines.begin(), lines.end(), [&](const auto& line) { return line.find(text) != line.npos; });
    };
    EXPECT_EQ(line_with("--- end of helper path 520 bytes") - line_with("--- helper path 520 bytes"),
              1 + (520 + 31) / 32);
    EXPECT_EQ(logged("TSM Start Doc: no hardware check"), 1);
    office->refuse();
    EXPECT_EQ(print_job("page").result, host::Result::not_started);
    EXPECT_EQ(logged("TSM: helper started but other failure and so end the helper"), 0);
    office->listen();

    install_helper();
    EXPECT_EQ(print_job("page").result, host::Result::printed);
    EXPECT_EQ(heard(), kWhole);
    EXPECT_EQ(arrived(), (Lines{"page", "page"}));
    expect_clean();

    // A file that is no program.
    remove_helper();
    write_file(base / kProgram, "not a program");
    EXPECT_EQ(print_job("page").result, host::Result::printed);
    EXPECT_EQ(logged("TSM: Unable to Create Child Process, error:", "ERROR"), 1);
    EXPECT_EQ(logged("TSM Start Doc: Failed to create child process", "ERROR"), 1);

    // It has moved, and the registry says where to: into a folder with blanks and foreign letters.
    ASSERT_TRUE(fs::remove(base / kProgram));
    const host::BaseFolder before = folder;
    folder = host::base_folder(before.install + " B\u00FCro \u0416 \u65E5\u672C");
    fs::copy(path_of(before.install), path_of(folder.install), fs::copy_options::recursive);
    base = path_of(folder.base);
    install_helper();
    ASSERT_TRUE(host::store_install_path(host::windows_path(folder.install)));
    EXPECT_EQ(print_job("page").result, host::Result::printed);
    EXPECT_EQ(heard(), kWhole);
    remove_transcripts();
    start_monitor();
    remove_transcripts();
    force_attributes();
    EXPECT_EQ(print_job("page").result, host::Result::printed);
    EXPECT_EQ(arrived(), Lines{"page"});
    const std::string all = heard();
    EXPECT_TRUE(all.starts_with(kStart + "enddoc\n" + kClosed + kName + "spoolfile=")) << all;
    EXPECT_NE(all.find("B\u00FCro \u0416 \u65E5\u672C"), std::string::npos) << all;
    EXPECT_EQ(work_files(), Lines{});
    expect_clean();
    monitor.unload();
    fs::remove_all(path_of(folder.install));
    folder = before;
}

}  // namespace
}  // namespace test
