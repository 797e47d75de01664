// What tsport report makes of the logs that the monitor really writes: print servers on which one thing goes wrong.
#include <future>

#include "tests/support/helper_script.h"
#include "tests/support/reported.h"

namespace test {
namespace {

using tsport::report::Document;
using tsport::report::Outcome;
using tsport::report::Trouble;

class Report : public HelperServer {
  protected:
    Reported report(const tsport::report::Options& options = {}) const { return Reported(log(), options); }
    // The report names this cause once, for one document, and nothing else; that document.
    Document only_cause(const Reported& reported, const std::string& id, Outcome outcome) const {
        EXPECT_EQ(reported.named(), std::multiset<std::string>{id}) << reported.words;
        EXPECT_NE(reported.json.find("\"causes\": {\"" + id + "\": 1}"), std::string::npos) << reported.json;
        EXPECT_NE(reported.html.find("data-cause=\"" + id + "\""), std::string::npos);
        EXPECT_EQ(reported.report->cut_lines + reported.report->foreign_lines, 0u);
        std::vector<Document> found;
        for (const Document* const document : reported.documents) {
            if (document->trouble != 0) found.push_back(*document);
        }
        EXPECT_EQ(found.size(), 1u) << reported.words;
        if (found.size() != 1) return {};
        EXPECT_EQ(found[0].outcome, outcome) << reported.words;
        return found[0];
    }
    // The server's log without Debug: what the same course leaves there.
    std::string plain_log() const {
        std::string text;
        for (const std::string& line : log_lines()) {
            const size_t source = line.find(" - ");
            const size_t thread = line.rfind(" [");
            if (line.find(" DEBUG: ") == std::string::npos && line.find(" DEV  : ") == std::string::npos) {
                text += line.substr(0, 31) + line.substr(source + 3, thread - source - 3) + "\n";
            }
        }
        return text;
    }
    host::Outcome print_without_port() {
        host::Document job = document(W("Office"), host::memory_source("page"));
        job.port = W("Gone");
        return monitor.print_document(job);
    }
};

TEST_F(Report, APrintedDocumentHasItsFiguresAndNoCause) {
    start();
    EXPECT_EQ(print(W("Office"), pattern(300'000), 4096).result, host::Result::printed);
    const Reported reported = report();
    EXPECT_EQ(reported.named(), std::multiset<std::string>{}) << reported.words;
    ASSERT_EQ(reported.documents.size(), 2u);
    const Document& document = *reported.documents[1];
    EXPECT_EQ(document.outcome, Outcome::printed);
    EXPECT_EQ(reported.text(document.printer), "Office");
    EXPECT_EQ(reported.text(document.port), "Office");
    EXPECT_EQ(reported.text(document.address), "127.0.0.1");
    EXPECT_EQ(document.job, 2u);
    EXPECT_EQ(document.writes, 74u);
    EXPECT_EQ(document.taken, 300'000u);
    EXPECT_EQ(document.sent, 300'000u);
    EXPECT_EQ(logged("jobid: 2, Start " + std::to_string(document.start_ms) + " ms"), 1);
    EXPECT_EQ(logged("jobid: 2, End " + std::to_string(document.end_ms) + " ms"), 1);
    EXPECT_EQ(logged("jobid: 2, Total " + std::to_string(document.total_ms) + " ms"), 1);
    EXPECT_EQ(reported.report->sums.all().taken, 300'010u);
    EXPECT_TRUE(reported.report->other_errors.in_order().empty());
}

// -- One thing that goes wrong ---------------------------------------------------------------------------------------

TEST_F(Report, ARefusedJob) {
    start();
    PrintServer::print_job(42, pattern(5000), true);
    const Document document = only_cause(report(), "job.not-approved", Outcome::refused);
    EXPECT_EQ(document.job, 42u);
    EXPECT_EQ(document.taken, 5000u);
    EXPECT_EQ(document.sent, 0u);
    EXPECT_EQ(only_cause(Reported(plain_log()), "job.not-approved", Outcome::refused).job, 42u);
}

TEST_F(Report, AJobHeldForAnOpenDoorThatPrintsLate) {
    start();
    check_hardware();
    answer_by("on startdoc WAIT \"Door Open\" for 60 ms then WAIT \"Door Open\" for 60 ms then WAIT then OK");
    print_job(pattern(5000));
    const Reported reported = report();
    const Document document = only_cause(reported, "device.held", Outcome::late);
    EXPECT_EQ(reported.text(document.held_for), "Door Open");
    EXPECT_GE(document.held_ms, 100u);
    EXPECT_LE(document.held_ms, document.start_ms);
    EXPECT_NE(reported.words.find("printed late: held by a problem of the device: Door Open\n"), std::string::npos);
}

TEST_F(Report, AJobThatTheHelperDrops) {
    start();
    check_hardware();
    answer_by("on startdoc DELETE");
    print_job(pattern(5000));
    EXPECT_EQ(only_cause(report(), "helper.dropped", Outcome::dropped).taken, 5000u);
}

TEST_F(Report, APrinterThatRefusesConnections) {
    start();
    office->refuse();
    print_job("page");
    const Reported reported = report();
    const Document document = only_cause(reported, "printer.refused", Outcome::not_started);
    EXPECT_EQ(reported.text(document.address), "127.0.0.1");
    EXPECT_NE(reported.text(document.detail).find("(Error: 10061)"), std::string::npos);
    // Without Debug the line says no more than that.
    only_cause(Reported(plain_log().substr(plain_log().find("TSM Start Doc Port") - 31)), "printer.unreachable",
               Outcome::not_started);
}

TEST_F(Report, AnAddressThatNobodyKnows) {
    prepare();
    spooler_sim::add_printer(W("Far"));
    ASSERT_TRUE(host::store_port(W("Far"), W("no-such-host.invalid"), 9100));
    install_helper();
    start_monitor();
    print(W("Far"), "page");
    const Reported reported = report();
    const Document document = only_cause(reported, "printer.unknown-address", Outcome::not_started);
    EXPECT_EQ(reported.text(document.address), "no-such-host.invalid");
}

TEST_F(Report, APrinterLostInTheMiddleOfAJobThatIsSentAgain) {
    start();
    peer::Behaviour broken;
    broken.reset_after = 100'000;
    office->behave_once(broken);
    const std::string data = pattern(8 << 20);
    ASSERT_EQ(print(W("Office"), data).result, host::Result::printed);
    const Reported reported = report();
    const Document lost = only_cause(reported, "printer.reset", Outcome::restarted);
    EXPECT_LT(lost.sent, data.size());
    const Document& again = *reported.documents.back();
    EXPECT_EQ(again.outcome, Outcome::late);
    EXPECT_EQ(again.attempt, 2);
    EXPECT_EQ(again.sent, data.size());
    only_cause(Reported(plain_log()), "printer.reset", Outcome::lost);
}

TEST_F(Report, ADocumentThatTheHelperDoesNotRewrite) {
    start();
    force_attributes();
    answer_by("on forceattr ERROR");
    print_job(pattern(5000));
    const Document document = only_cause(report(), "forced.failed", Outcome::lost);
    EXPECT_EQ(document.taken, 5000u);
    EXPECT_EQ(document.sent, 0u);
    only_cause(Reported(plain_log()), "forced.failed", Outcome::lost);
}

TEST_F(Report, ADocumentThatPrintsUnchanged) {
    prepare();
    spooler_sim::add_printer(W("a/b"));
    install_helper();
    start_monitor();
    force_attributes("a_b");
    print_job(pattern(5000), 65536, W("a/b"));
    EXPECT_EQ(only_cause(report(), "forced.unchanged", Outcome::printed).sent, 5000u);
}

TEST_F(Report, AMissingHelper) {
    start();
    remove_helper();
    check_hardware();
    force_attributes();
    print_job(pattern(5000));
    const Reported reported = report();
    const Document& document = *reported.documents.back();
    EXPECT_EQ(document.outcome, Outcome::lost);
    EXPECT_TRUE(document.has(Trouble::helper_missing_for_check));
    EXPECT_EQ(reported.named(), std::multiset<std::string>{"forced.no-helper"}) << reported.words;
}

TEST_F(Report, AHardwareCheckThatFails) {
    start();
    check_hardware();
    answer_by("on jobid ERROR");
    print_job(pattern(5000));
    EXPECT_EQ(only_cause(report(), "helper.failed", Outcome::printed).sent, 5000u);
}

// One that fails once and succeeds at the second attempt does not count.
TEST_F(Report, AHardwareCheckThatWorksAtTheSecondAttempt) {
    start();
    check_hardware();
    answer_by("run 1: on startdoc ERROR");
    print_job(pattern(5000));
    const Reported reported = report();
    EXPECT_EQ(logged("try helper one more time"), 1);
    EXPECT_EQ(reported.named(), std::multiset<std::string>{}) << reported.words;
}

TEST_F(Report, APrinterThatTheSpoolerDoesNotKnow) {
    start();
    print_job("page", 65536, W("Ghost"));
    const Reported reported = report();
    const Document document = only_cause(reported, "spooler.no-printer", Outcome::not_started);
    EXPECT_EQ(reported.text(document.printer), "Ghost");
    EXPECT_NE(reported.text(document.detail).find("(Error: 1801)"), std::string::npos);
    only_cause(Reported(plain_log()), "spooler.no-printer", Outcome::not_started);
}

TEST_F(Report, APortThatIsGone) {
    start();
    EXPECT_EQ(print_without_port().result, host::Result::not_started);
    const Reported reported = report();
    EXPECT_EQ(reported.text(only_cause(reported, "port.unknown", Outcome::not_started).port), "Gone");
}

TEST_F(Report, AJobDeletedWhileItIsHeld) {
    start();
    check_hardware();
    answer_by("on startdoc WAIT \"No Paper\" until seen then WAIT \"No Paper\"");
    auto printing = print_job_meanwhile("page");
    ASSERT_TRUE(wait_until([&] { return logged("extracted wait error") > 0; }));
    spooler_sim::set_job_status(W("Office"), kJob, JOB_STATUS_DELETING);
    release("seen");
    printing.get();
    const Reported reported = report();
    EXPECT_EQ(reported.named(), std::multiset<std::string>{"job.deleted-while-held"}) << reported.words;
    EXPECT_EQ(reported.text(reported.documents.back()->held_for), "No Paper");
}

TEST_F(Report, AnotherStartOnABusyPort) {
    start();
    host::Document job = document(W("Office"), host::memory_source("page"));
    job.progress = [this](std::uint64_t) {
        HANDLE port = nullptr;
        EXPECT_TRUE(monitor.open_port(W("Office"), port));
        EXPECT_TRUE(monitor.start_document(port, W("Office"), 600, W("doc")));
        EXPECT_TRUE(monitor.close_port(port));
    };
    EXPECT_EQ(monitor.print_document(job).result, host::Result::printed);
    EXPECT_EQ(only_cause(report(), "port.busy", Outcome::printed).job, 2u);
}

// -- Several at once -------------------------------------------------------------------------------------------------

TEST_F(Report, PortsThatPrintAtOnceAreToldApart) {
    constexpr int ports = 8;
    prepare();
    for (int i = 0; i < ports; ++i) add_printer(host::to_text("Printer " + std::to_string(i)));
    start_monitor();
    std::vector<std::future<void>> threads;
    for (int i = 0; i < ports; ++i) {
        threads.push_back(std::async(std::launch::async, [this, i] {
            const std::string data = pattern(100'000 * static_cast<size_t>(i + 1));
            for (int job = 0; job < 4; ++job) {
                host::Document one =
                    document(host::to_text("Printer " + std::to_string(i)), host::memory_source(data), 8192);
                one.job_id = static_cast<DWORD>(100 * i + job + 10);
                monitor.print_document(one);
            }
        }));
    }
    for (auto& thread : threads) thread.get();
    const Reported reported = report();
    EXPECT_EQ(reported.named(), std::multiset<std::string>{}) << reported.words;
    EXPECT_EQ(reported.count(Outcome::printed), ports * 4u + 1) << reported.words;
    for (const Document* const document : reported.documents) {
        if (document->job == 1) continue;
        const unsigned number = (document->job - 10) / 100;
        EXPECT_EQ(reported.text(document->printer), "Printer " + std::to_string(number));
        EXPECT_EQ(document->sent, 100'000u * (number + 1));
    }
}

// Numbered logs of a folder are read in their order: the document that lies across two of them is whole.
TEST_F(Report, ALogThatWasRotatedInTheMiddleOfADocument) {
    start({"LogRotateSizeKBytes=16", "LogRotateNumber=100", "LogRotateCheckCount=1"});
    for (DWORD job = 0; job < 12; ++job) PrintServer::print_job(100 + job, pattern(200'000));
    std::string json;
    std::string why;
    ASSERT_TRUE(fs::exists(base / "print-monitor.log.10"));
    const auto out = [&](std::string_view text) { json += text; };
    EXPECT_EQ(tsport::report::run({folder.base, "--json"}, out, why), 0) << why;
    EXPECT_NE(json.find("\"documents\": 13, \"failed\": 0, \"bytes\": 2400010,"), std::string::npos) << json;
    EXPECT_NE(json.find("\"printed\": 13,"), std::string::npos);
}

TEST_F(Report, TheLifeOfOneJob) {
    start();
    PrintServer::print_job(42, pattern(5000), true);
    PrintServer::print_job(43, pattern(200'000));
    tsport::report::Options options;
    options.job = 43;
    const Reported reported = report(options);
    EXPECT_EQ(reported.documents.size(), 1u);
    EXPECT_NE(reported.life.find("  the document starts: \"Office\", JobId: 43"), std::string::npos) << reported.life;
    EXPECT_NE(reported.life.find("  4 buffers, 200,000 bytes sent to the printer\n"), std::string::npos)
        << reported.life;
    EXPECT_EQ(reported.life.find("JobId: 42"), std::string::npos) << reported.life;
    options.job = 42;
    EXPECT_NE(report(options).life.find("1 buffer, 5,000 bytes taken and thrown away\n"), std::string::npos);
}

TEST_F(Report, OnlyWhatWasAskedFor) {
    prepare();
    add_printer(W("=1+1"));
    install_helper();
    start_monitor();
    for (int i = 0; i < 3; ++i) print(W("=1+1"), "page");
    const Reported all = report();
    ASSERT_EQ(all.documents.size(), 4u);
    EXPECT_NE(all.csv.find(",\"'=1+1\",2,"), std::string::npos) << "a spreadsheet would reckon: " << all.csv;

    tsport::report::Options options;
    options.printer = "OFFICE";
    EXPECT_EQ(report(options).documents.size(), 1u);
    options.printer = "127.0.0.1";
    EXPECT_EQ(report(options).documents.size(), 4u);
    options.since = all.documents[1]->start;
    options.until = *options.since + 1;
    const auto at_once = std::count_if(all.documents.begin(), all.documents.end(),
                                       [&](const Document* document) { return document->start == *options.since; });
    EXPECT_EQ(report(options).documents.size(), static_cast<size_t>(at_once));
    options.until = options.since;
    EXPECT_EQ(report(options).documents.size(), 0u);
}

TEST_F(Report, TheLine) {
    const tsport::report::Stamp now = *tsport::report::parse_stamp("2026-03-01 12:00:00,000");
    const struct {
        Lines words;
        const char* since;
    } good[] = {
        {{"log", "--since", "2026-02-28"}, "2026-02-28 00:00:00.000"},
        {{"--since", "2026-02-28T09:05", "log"}, "2026-02-28 09:05:00.000"},
        {{"log", "--since", "2026-02-28 09:05:07"}, "2026-02-28 09:05:07.000"},
        {{"log", "--since", "90m"}, "2026-03-01 10:30:00.000"},
        {{"log", "--since", "24h"}, "2026-02-28 12:00:00.000"},
        {{"log", "--since", "7d", "--job", "0", "--html", "page", "--csv"}, "2026-02-22 12:00:00.000"},
    };
    for (const auto& row : good) {
        tsport::report::Options options;
        std::string why;
        ASSERT_TRUE(parse_options(row.words, now, options, why)) << why;
        EXPECT_EQ(tsport::report::stamp_in_words(*options.since), row.since);
        EXPECT_EQ(options.logs, Lines{"log"});
    }
    const Lines wrong[] = {{},
                           {"--json"},
                           {"log", "--since"},
                           {"log", "--since", "yesterday"},
                           {"log", "--since", "2026-13-01"},
                           {"log", "--until", "24w"},
                           {"log", "--job", "x"},
                           {"log", "--job", "4294967296"},
                           {"log", "--rows", "0"},
                           {"log", "--printer", ""},
                           {"log", "--json", "--csv"},
                           {"log", "--frobnicate"}};
    for (const Lines& words : wrong) {
        std::string why;
        EXPECT_EQ(tsport::report::run(
                      words, [](std::string_view) {}, why),
                  2)
            << testing::PrintToString(words);
        EXPECT_NE(why, "");
    }
    std::string why;
    EXPECT_EQ(tsport::report::run(
                  {"no/such/log"}, [](std::string_view) {}, why),
              3);
    EXPECT_EQ(why, "no/such/log is not there");
}

// A monitor that is started again in the middle of a document has lost it; one whose log just ends may still print it.
TEST_F(Report, ADocumentWithoutAnEnd) {
    start();
    PrintServer::print_job(42, pattern(5000));
    const std::string whole = log();
    const std::string cut = whole.substr(0, whole.find('\n', whole.rfind("TSM Write Port: given")) + 1);
    EXPECT_EQ(Reported(cut).documents.back()->outcome, Outcome::unknown);
    EXPECT_EQ(Reported(cut).named(), std::multiset<std::string>{});
    const Document document = only_cause(Reported(cut + whole), "spooler.restarted", Outcome::unknown);
    EXPECT_EQ(document.job, 42u);
}

}  // namespace
}  // namespace test
