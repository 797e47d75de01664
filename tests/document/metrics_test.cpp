// tsport report --prometheus and --ndjson: their sums are those of --json, and counters go on over rotations.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <map>

#include "host/setup.h"
#include "tests/support/files.h"
#include "tsport/run.h"

namespace test {
namespace {

// A log with one attempt for each letter: p printed, r refused by the printer, l lost and sent again.
std::string log_of(const std::string& attempts, int minute) {
    std::string log;
    int job = minute * 100;
    int second = 0;
    const auto line = [&](const std::string& message) {
        char time[32];
        std::snprintf(time, sizeof time, "2026-03-01 09:%02d:%02d,000", minute, second++);
        log += std::string(time) + " DEBUG: file.cpp:1 - " + message + " [7]\n";
    };
    for (const char attempt : attempts) {
        line("TSM Start Doc Port - pFullPrinterName: \"Of\\fi\"ce\", JobId: " +
             std::to_string(attempt == 'l' ? job : job++) + ", Version: 1");
        line("TSM: get addr for 10.0.0.7");
        if (attempt == 'r') {
            line("TSM: Failed to connect to printer: 10.0.0.7 (Error: 10061) - refused");
            line("TSM Start Doc Port failed to connect to printer address: 10.0.0.7");
            line("TSM: closing port");
            continue;
        }
        line("TSM Write Port: buf count = 1000");
        line(attempt == 'l' ? "TSM Write Port: failed to send data to printer, close connection"
                            : "TSM Write Port: given 1000 bytes and sent 1000 bytes");
        if (attempt == 'l') {
            line("TSM: Write Port: invalid socket but reestablished connection and requested restart");
        }
        line("TSM End Doc Port");
        line("TSM End Doc Port completed - return 1");
    }
    return log;
}

class Metrics : public testing::Test {
  protected:
    ~Metrics() override { fs::remove_all(folder_); }
    // The series of the metrics after a look at a log.
    std::map<std::string, double> look(const std::string& log) {
        EXPECT_TRUE(write_file(folder_ / "print-monitor.log", log));
        const std::string path = utf8_of(folder_ / "tsport.prom");
        std::istringstream nothing;
        json_.clear();
        const tsport::Console console{nothing, nullptr, [this](std::string_view text) { json_ += text; }};
        const tsport::Answer answer =
            tsport::run({"report", utf8_of(folder_ / "print-monitor.log"), "--json", "--prometheus", path}, console);
        EXPECT_EQ(answer.status, tsport::done) << answer.err << answer.out;
        std::map<std::string, double> series;
        std::istringstream text(read_file(path_of(path)));
        for (std::string line; std::getline(text, line);) {
            const size_t value = line.rfind(' ');
            if (line[0] != '#') series[line.substr(0, value)] = std::stod(line.substr(value));
        }
        return series;
    }
    using Series = std::map<std::string, double>;
    static double jobs(const Series& series, const std::string& outcome) {
        const auto found = series.find("tsport_jobs_total{printer=\"Of\\\\fi\\\"ce\",outcome=\"" + outcome + "\"}");
        return found != series.end() ? found->second : 0;
    }

    const fs::path folder_ = path_of(host::make_temporary_folder());
    std::string json_;
};

TEST_F(Metrics, AreTheReportsSumsAndGoOnOverRotations) {
    const Series series = look(log_of("pplpr", 1));
    rapidjson::Document report;
    ASSERT_FALSE(report.Parse(json_.c_str()).HasParseError()) << json_;
    double attempts = 0;
    for (const auto& [name, value] : series) attempts += name.rfind("tsport_attempts_total", 0) == 0 ? value : 0;
    EXPECT_EQ(attempts, report["attempts"].GetDouble());
    for (const auto& outcome : report["outcomes"].GetObject()) {
        EXPECT_EQ(jobs(series, outcome.name.GetString()), outcome.value.GetDouble()) << outcome.name.GetString();
    }
    EXPECT_EQ(jobs(series, "printed"), 2);
    EXPECT_EQ(jobs(series, "late"), 1);
    EXPECT_EQ(jobs(series, "not-started"), 1);
    EXPECT_EQ(series.at("tsport_bytes_total{printer=\"Of\\\\fi\\\"ce\"}"), 3000);
    EXPECT_EQ(series.at("tsport_attempt_causes_total{cause=\"printer.refused\"}"), 1);
    EXPECT_EQ(series.at("tsport_start_seconds_count"), 4);
    EXPECT_EQ(series.at("tsport_close_seconds_bucket{le=\"+Inf\"}"), 3);
    EXPECT_EQ(series.at("tsport_printer_failing{printer=\"Of\\\\fi\\\"ce\"}"), 1);
    const double last = series.at("tsport_log_last_line_timestamp_seconds");

    EXPECT_EQ(look(log_of("pplpr", 1)), series);  // nothing new, nothing counted
    const Series later = look(log_of("p", 2));    // rotated meanwhile
    EXPECT_EQ(jobs(later, "printed"), 3);
    EXPECT_EQ(jobs(later, "not-started"), 1);
    EXPECT_EQ(later.at("tsport_printer_failing{printer=\"Of\\\\fi\\\"ce\"}"), 0);
    EXPECT_GT(later.at("tsport_log_last_line_timestamp_seconds"), last);
    if (std::system("command -v promtool >/dev/null 2>&1") == 0) {
        EXPECT_EQ(std::system(("promtool check metrics <" + utf8_of(folder_ / "tsport.prom")).c_str()), 0);
    }

    ASSERT_TRUE(write_file(folder_ / "tsport.prom.state", "{}"));
    const tsport::Answer answer = tsport::run(
        {"report", utf8_of(folder_ / "print-monitor.log"), "--prometheus", utf8_of(folder_ / "tsport.prom")});
    EXPECT_EQ(answer.status, tsport::refused);
    EXPECT_NE(answer.err.find("tsport.prom.state: it is no state"), std::string::npos) << answer.err;
}

TEST_F(Metrics, ALineOfNdjsonIsAnAttempt) {
    ASSERT_TRUE(write_file(folder_ / "print-monitor.log", log_of("pr", 1)));
    std::istringstream nothing;
    std::string out;
    tsport::run({"report", utf8_of(folder_ / "print-monitor.log"), "--ndjson"},
                {nothing, nullptr, [&](std::string_view text) { out += text; }});
    std::istringstream lines(out);
    std::vector<std::string> outcomes;
    for (std::string line; std::getline(lines, line);) {
        rapidjson::Document attempt;
        ASSERT_FALSE(attempt.Parse(line.c_str()).HasParseError()) << line;
        outcomes.emplace_back(attempt["event.outcome"].GetString());
    }
    EXPECT_EQ(outcomes, (std::vector<std::string>{"success", "failure"}));
}

}  // namespace
}  // namespace test
