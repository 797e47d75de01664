// What tsport report makes of the logs that the monitor really writes: print servers on which one thing goes wrong.
#include <map>
#include <regex>

#include "tests/support/helper_script.h"
#include "tests/support/reported.h"

namespace test {
namespace {

using tsport::report::Document;
using tsport::report::Outcome;

class Report : public HelperServer {
  protected:
    Reported report(const tsport::report::Options& options = {}) const { return Reported(log(), options); }
    // The report names this cause once, for one document, and nothing else; that document.
    Document only_cause(const Reported& reported, const std::string& id, Outcome outcome) const {
        EXPECT_EQ(reported.named(), std::multiset<std::string>{id}) << reported.report_text;
        EXPECT_NE(reported.json.find("\"causes\": {\"" + id + "\": 1}"), std::string::npos) << reported.json;
        EXPECT_EQ(reported.report->cut_lines + reported.report->foreign_lines, 0u);
        std::vector<Document> found;
        for (const Document* const document : reported.documents) {
            if (document->causes != 0) found.push_back(*document);
        }
        EXPECT_EQ(found.size(), 1u) << reported.report_text;
        if (found.size() != 1) return {};
        EXPECT_EQ(info_of(found[0].outcome).id, std::string(info_of(outcome).id)) << reported.report_text;
        return found[0];
    }
    // The monitor starts again, and writes only errors from now on.
    void turn_debug_off() {
        configure({"Debug=off"});
        restart();
    }
};

TEST_F(Report, APrintedDocumentHasItsFiguresAndNoCause) {
    start();
    EXPECT_EQ(print(W("Office"), pattern(300'000), 4096).result, host::Result::printed);
    const Reported reported = report();
    EXPECT_EQ(reported.named(), std::multiset<std::string>{}) << reported.report_text;
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

TEST_F(Report, EachThingThatGoesWrongIsNamedOnce) {
    prepare();
    spooler_sim::add_printer(W("a/b"));
    spooler_sim::add_printer(W("Far"));
    ASSERT_TRUE(host::store_port(W("Far"), W("no-such-host.invalid"), 9100));
    install_helper();
    start_monitor();
    const std::string data = pattern(5000);
    const auto print_as = [&](const std::string& answers) {
        answer_by(answers);
        print_job(data);
    };
    const auto refuse = [&] {
        office->refuse();
        PrintServer::print_job(monitor.next_job_id(), data);
        office->listen();
    };
    const auto print_without_helper = [&] {
        remove_helper();
        print_job(data);
    };
    constexpr std::uint64_t any = UINT64_MAX;
    const auto lines_of = [&](const std::function<void()>& print) {
        const size_t before = log().size();
        print();
        return log().substr(before);
    };
    const struct {
        const char* id;
        Outcome outcome;
        std::uint64_t taken;
        std::uint64_t sent;
        const char* id_without_debug;  // "": such a log cannot tell, and the report says so
        const char* words;
        std::function<void()> print;
        // What is replaced in the log: by what Windows writes for a printer that is off, and by a time that no test
        // waits for. Of a document that is under way there is no line after the second one.
        const char* before = "no line has this";
        const char* after = "";
    } rows[] = {
        {"job.not-approved", Outcome::refused, 5000, 0, "job.not-approved", "the job was not approved",
         [&] { PrintServer::print_job(42, data, true); }},
        {"printer.unknown-address", Outcome::not_started, 0, 0, "printer.unreachable", "no-such-host.invalid",
         [&] { print(W("Far"), data); }},
        {"spooler.no-printer", Outcome::not_started, 0, 0, "spooler.no-printer", "Ghost",
         [&] { print_job(data, 65536, W("Ghost")); }},
        {"port.unknown", Outcome::not_started, 0, 0, "port.unknown", "Gone",
         [&] {
             host::Document job = document(W("Office"), host::memory_source(data));
             job.port = W("Gone");
             monitor.print_document(job);
         }},
        {"port.busy", Outcome::printed, 5000, 5000, "", "another document was started",
         [&] {
             host::Document job = document(W("Office"), host::memory_source(data));
             job.progress = [this](std::uint64_t) {
                 HANDLE port = nullptr;
                 EXPECT_TRUE(monitor.open_port(W("Office"), port));
                 EXPECT_TRUE(monitor.start_document(port, W("Office"), 600, W("doc")));
                 EXPECT_TRUE(monitor.close_port(port));
             };
             monitor.print_document(job);
         }},
        {"printer.refused", Outcome::not_started, 0, 0, "printer.unreachable", "(Error: 10061)", refuse},
        {"printer.timed-out", Outcome::not_started, 0, 0, "printer.unreachable", "`tsport test 127.0.0.1 ", refuse,
         "Error: 10061", "Error: 10060"},
        {"printer.stalled", Outcome::under_way, 0, 0, "",
         "under way: the printer takes no data for 20 seconds and more: 0 B sent, the last buffer was given 1 min ",
         [&] { print_job(data); }, "no line has this", "write data to printer of size 5000"},
        {"printer.slow", Outcome::printed, 5000, 5000, "",
         "printed: the printer takes its data slowly: 4.9 KiB in 1 min 10 s", [&] { print_job(data); },
         "total duration \\d+ ms", "total duration 70000 ms"},
        {"printer.reset", Outcome::restarted, any, any, "printer.reset", "printed late",
         [&] {
             test_printer::Behaviour broken;
             broken.reset_after = 100'000;
             office->behave_once(broken);
             print_job(pattern(8 << 20));
         }},
        {"forced.unchanged", Outcome::printed, 5000, 5000, "forced.unchanged", "a/b",
         [&] {
             force_attributes("a_b");
             print_job(data, 65536, W("a/b"));
         }},
        {"forced.failed", Outcome::lost, 5000, 0, "forced.failed", "Office",
         [&] {
             force_attributes();
             print_as("on forceattr ERROR");
         }},
        {"device.held", Outcome::late, 5000, 5000, "", "printed late: held by a problem of the device: Door Open\n",
         [&] {
             check_hardware();
             print_as("on startdoc WAIT \"Door Open\" for 60 ms then WAIT \"Door Open\" for 60 ms then WAIT then OK");
         }},
        {"helper.dropped", Outcome::dropped, 5000, 0, "", "Office", [&] { print_as("on startdoc DELETE"); }},
        {"helper.failed", Outcome::printed, 5000, 5000, "helper.failed", "Office", [&] { print_as("on jobid ERROR"); }},
        {"helper.missing", Outcome::printed, 5000, 5000, "helper.missing", "repair the Print Provider",
         print_without_helper},
        {"forced.no-helper", Outcome::lost, 5000, 0, "forced.no-helper", "Office",
         [&] {
             force_attributes();
             print_without_helper();
         }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.id);
        const std::string lines = lines_of(row.print);
        tsport::report::Options options;
        std::string seen = std::regex_replace(lines, std::regex(row.before), row.after);
        if (row.outcome == Outcome::under_way) {
            seen = lines.substr(0, lines.find('\n', lines.find(row.after)) + 1);
            options.now = *tsport::report::parse_timestamp(lines) + std::chrono::seconds(99);
        }
        const Reported reported(seen, options);
        const Document document = only_cause(reported, row.id, row.outcome);
        EXPECT_TRUE(row.taken == any || document.taken == row.taken) << document.taken;
        EXPECT_TRUE(row.sent == any || document.sent == row.sent) << document.sent;
        EXPECT_NE(reported.report_text.find(row.words), std::string::npos) << reported.report_text;
        EXPECT_EQ(document.held_ms >= 100, row.id == std::string("device.held"));
    }
    install_helper();
    fs::remove(testbed::settings_record_path(folder, "Office"));
    turn_debug_off();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.id);
        const Reported reported(lines_of(row.print));
        std::multiset<std::string> expected = {row.id_without_debug};
        expected.erase("");
        EXPECT_EQ(reported.named(), expected) << reported.report_text;
        EXPECT_NE(reported.report_text.find("hang at this moment or are slow"), std::string::npos);
    }
}

// A job that is sent again is one document.
TEST_F(Report, AttemptsOfAJobAreNoDocumentsOfTheirOwn) {
    start();
    test_printer::Behaviour broken;
    broken.reset_after = 100'000;
    office->behave_once(broken);
    const std::string data = pattern(8 << 20);
    ASSERT_EQ(print(W("Office"), data).result, host::Result::printed);
    const Reported reported = report();
    const Document lost = only_cause(reported, "printer.reset", Outcome::restarted);
    EXPECT_LT(lost.sent, data.size());
    EXPECT_TRUE(lost.tried_again);
    const Document& again = *reported.documents.back();
    EXPECT_EQ(again.outcome, Outcome::late);
    EXPECT_EQ(again.attempt, 2);
    EXPECT_EQ(again.sent, data.size());
    EXPECT_FALSE(reported.report->documents.has_trouble());
    tsport::report::Options options;
    options.job = lost.job;
    const std::string history = report(options).history;
    const size_t given_up = history.find("the rest was not sent; waits until the broken connection is closed");
    EXPECT_LT(given_up, history.find("all data has been sent")) << history;
    EXPECT_NE(reported.report_text.find("\n2 documents in 3 attempts, 8.0 MiB: 2 printed, 0 not, 0 with"),
              std::string::npos)
        << reported.report_text;
    EXPECT_NE(reported.report_text.find("attempt 2: printed late"), std::string::npos) << reported.report_text;

    // Nothing listens: the spooler tries it four times, which is one document that failed.
    office->refuse();
    host::Document job = document(W("Office"), host::memory_source("page"));
    const size_t before = log().size();
    for (int i = 0; i < 4; ++i) {
        job.job_id = 77;
        monitor.print_document(job);
    }
    const Reported refused(log().substr(before));
    EXPECT_EQ(refused.named(),
              (std::multiset<std::string>{"printer.refused", "printer.often-unreachable", "job.restarted-often"}))
        << refused.report_text;
    EXPECT_NE(refused.report_text.find("1 x the printer refused the connection, 4 attempts ["), std::string::npos)
        << refused.report_text;
    EXPECT_EQ(refused.report->sums.all().failed(), 1u);
    EXPECT_TRUE(refused.report->documents.has_trouble());

    // Without Debug nobody can say what became of the job.
    office->listen();
    turn_debug_off();
    office->behave_once(broken);
    EXPECT_EQ(print(W("Office"), data).result, host::Result::printed);
    const Reported off(log().substr(log().rfind("ERROR: TSM: unable to send") - 24));
    EXPECT_NE(off.json.find("; whether it was sent again and printed is not in the log"), std::string::npos)
        << off.json;
}

// One that fails once and succeeds at the second attempt does not count.
TEST_F(Report, AHardwareCheckThatWorksAtTheSecondAttempt) {
    start();
    check_hardware();
    answer_by("run 1: on startdoc ERROR");
    print_job(pattern(5000));
    const Reported reported = report();
    EXPECT_EQ(logged("try helper one more time"), 1);
    EXPECT_EQ(reported.named(), std::multiset<std::string>{}) << reported.report_text;
}

TEST(ReportTimes, MayBeCountedBackFromNow) {
    const tsport::report::Timestamp now = *tsport::report::parse_timestamp("2026-03-01 12:00:00,000");
    for (const auto& [text, time] : {std::pair{"90m", "2026-03-01 10:30:00.000"},
                                     {"24h", "2026-02-28 12:00:00.000"},
                                     {"7d", "2026-02-22 12:00:00.000"}}) {
        EXPECT_EQ(tsport::report::to_text(*tsport::report::parse_time(text, now)), time);
    }
}

TEST_F(Report, AMonitorThatIsStartedAgainInTheMiddleOfADocument) {
    start();
    PrintServer::print_job(42, pattern(5000));
    const std::string whole = log();
    const std::string cut = whole.substr(0, whole.find('\n', whole.rfind("TSM Write Port: given")) + 1);
    const Document document = only_cause(Reported(cut + whole), "spooler.restarted", Outcome::unknown);
    EXPECT_EQ(document.job, 42u);
}

// -- Logs of any kind ------------------------------------------------------------------------------------------------

TEST(LineReader, GivesEachLineOnceAndSkipsTheRestOfALongOne) {
    constexpr size_t longest = tsport::report::LineReader::longest;
    const std::string most(longest, 'x');
    std::istringstream log(
        "\xEF\xBB\xBF"
        "first\n\n" +
            most + "\n" + most + "yz\nlast",
        std::ios::binary);
    const struct {
        std::string line;
        bool complete;
    } rows[] = {{"first", true}, {"", true}, {most, true}, {most, false}, {"last", true}};
    tsport::report::LineReader reader(log);
    for (const auto& row : rows) {
        ASSERT_TRUE(reader.next());
        EXPECT_TRUE(same_bytes(reader.line(), row.line));
        EXPECT_EQ(reader.complete(), row.complete) << row.line.substr(0, 20);
    }
    EXPECT_FALSE(reader.next());
    EXPECT_EQ(reader.bytes(), log.str().size());
    EXPECT_FALSE(reader.is_utf16());
}

// More threads than are followed at once: every document is still counted, once.
TEST(DocumentTracker, LosesNoDocumentToTheNumberOfThreads) {
    constexpr unsigned threads = 3 * tsport::report::DocumentTracker::most_threads / 2;
    std::string log;
    for (unsigned i = 1; i <= threads; ++i) {
        const std::string number = std::to_string(i);
        log += "2026-03-01 10:00:00,000 DEBUG: a.cpp:1 - TSM Start Doc Port - pFullPrinterName: \"Office\", JobId: " +
               number + ", Version: 1 [" + number + "]\n";
    }
    const Reported reported(log);
    EXPECT_EQ(reported.documents.size(), threads);
    const auto& sums = reported.report->sums.all();
    EXPECT_EQ(sums.of(Outcome::unknown) + sums.of(Outcome::under_way), threads);
    EXPECT_EQ(reported.documents.back()->job, threads);
}

}  // namespace
}  // namespace test
