// tsport watch: what is under way, and what of it needs somebody, from the log that the monitor really writes; and that
// looking at the log keeps no rotation waiting and loses no line.
#include <future>

#include "host/setup.h"
#include "tests/support/helper_script.h"
#include "tsport/report/options.h"
#include "tsport/run.h"
#include "tsport/watch/activities.h"
#include "tsport/watch/follower.h"

namespace test {
namespace {

using tsport::report::Timestamp;
using tsport::watch::Activities;
using tsport::watch::Activity;
using tsport::watch::Follower;

// The lines of a detailed log, each a second after the one before it.
class Log {
  public:
    explicit Log(Activities& activities) : activities_(activities) {}
    Log& operator<<(const std::string& message) {
        now_ += std::chrono::seconds(1);
        std::string time = tsport::report::to_text(now_);
        time[19] = ',';
        activities_.add(time + " DEBUG: file.cpp:1 - " + message + " [" + std::to_string(thread) + "]");
        return *this;
    }
    Timestamp in(int seconds) const { return now_ + std::chrono::seconds(seconds); }
    int thread = 7;

  private:
    Activities& activities_;
    Timestamp now_ = *tsport::report::parse_timestamp("2026-03-01 09:00:00,000");
};

std::vector<std::string> ids(const std::vector<tsport::watch::Attention>& found) {
    std::vector<std::string> all;
    for (const auto& each : found) all.emplace_back(each.id);
    return all;
}

using Ids = std::vector<std::string>;

TEST(Watch, NamesThePhaseAndWhatNeedsSomebody) {
    std::vector<std::string> changes;
    Activities activities([&](const Activity& activity, bool ended) {
        changes.emplace_back(ended ? "ended" : tsport::watch::name_of(activity.phase));
    });
    Log log(activities);
    const std::string start = "TSM Start Doc Port - pFullPrinterName: \"Office\", JobId: 4, Version: 1";
    log << start << "TSM: received WAIT from helper"
        << "TSM: extracted wait error string = \"Door Open\"";
    EXPECT_EQ(ids(activities.attention(log.in(178))), Ids());
    EXPECT_EQ(ids(activities.attention(log.in(181))), Ids{"held.long"});
    log << "TSM: received OK from helper"
        << "TSM: get addr for 127.0.0.1"
        << "TSM Write Port: buf count = 4096";
    EXPECT_EQ(ids(activities.attention(log.in(29))), Ids());
    EXPECT_EQ(ids(activities.attention(log.in(30))), Ids{"printer.stalled"});
    log << "TSM Write Port: given 4096 bytes and sent 4096 bytes";
    // No buffer is on its way: it is the driver who takes its time.
    EXPECT_EQ(ids(activities.attention(log.in(100))), Ids());
    EXPECT_EQ(activities.all().begin()->second.document.sent, 4096u);
    log << "TSM End Doc Port"
        << "TSM: waiting for FD_CLOSE on socket"
        << "TSM End Doc Port completed - return 1";
    EXPECT_TRUE(activities.all().empty());
    EXPECT_EQ(changes, (Ids{"starting", "held", "checking", "connecting", "sending", "ending", "closing", "ended"}));
}

TEST(Watch, KnowsWhatIsRestartedOftenAndWhoRefuses) {
    Activities activities([](const Activity&, bool) {});
    Log log(activities);
    const auto start = [&] { log << "TSM Start Doc Port - pFullPrinterName: \"Office\", JobId: 4, Version: 1"; };
    for (int attempt = 1; attempt < 3; ++attempt) {
        start();
        log << "TSM Write Port: failed to send data to printer, close connection"
            << "TSM: Write Port: invalid socket but reestablished connection and requested restart"
            << "TSM End Doc Port"
            << "TSM End Doc Port completed - return 1";
    }
    start();
    EXPECT_EQ(ids(activities.attention(log.in(0))), Ids{"job.restarted"});
    log << "TSM End Doc Port"
        << "TSM End Doc Port completed - return 1";
    start();
    log << "TSM: get addr for 10.0.0.1"
        << "TSM: Failed to connect to printer: x (Error: 10061) - refused"
        << "TSM Start Doc Port failed to connect to printer address: 10.0.0.1"
        << "TSM: closing port";
    log.thread = 8;
    start();  // what the first thread did is over only now
    log.thread = 7;
    start();
    EXPECT_EQ(activities.refusals().count("Office"), 1u);
    EXPECT_TRUE(activities.detailed());
    activities.add("2026-03-01 10:00:00,000 ERROR: TSM: Failed to connect to printer: x (Error: 10061) - refused");
    EXPECT_FALSE(activities.detailed());
}

class WatchedServer : public HelperServer {};

TEST_F(WatchedServer, ShowsADocumentThatIsHeldNow) {
    start();
    check_hardware();
    answer_by("on startdoc WAIT \"Door Open\" until shut then OK");
    tsport::Answer answer;
    const auto look = [&](std::vector<std::string> words) {
        std::istringstream nothing;
        std::string out;
        words.insert(words.begin(), {"watch", folder.log(), "--once"});
        answer = tsport::run(words, {nothing, nullptr, [&out](std::string_view text) { out += text; }});
        return out;
    };
    EXPECT_NE(look({}).find("no document is under way"), std::string::npos);
    EXPECT_EQ(answer.status, tsport::done);
    auto printing = print_job_meanwhile("page");
    ASSERT_TRUE(wait_until([&] { return logged("extracted wait error string") == 1; }));
    const std::string held = look({"--json"});
    for (const char* const member : {"\"printer\": \"Office\"", "\"job\": 7", "\"phase\": \"held\"",
                                     "\"held_for\": \"Door Open\"", "\"attention\": []"}) {
        EXPECT_NE(held.find(member), std::string::npos) << held;
    }
    const Timestamp later = tsport::report::local_now() + std::chrono::minutes(10);
    EXPECT_NE(
        look({"--at", tsport::report::to_text(later).substr(0, 19)}).find("! held.long  Office, job 7: held for "),
        std::string::npos);
    EXPECT_EQ(answer.status, tsport::not_there);
    EXPECT_NE(look({"--printer", "Other"}).find("no document is under way"), std::string::npos);
    EXPECT_EQ(answer.status, tsport::done);
    release("shut");
    EXPECT_EQ(printing.get().result, host::Result::printed);
    EXPECT_NE(look({}).find("no document is under way"), std::string::npos);
}

// The lines that a log gets between two looks, in the files to which the rotation has brought them.
TEST(Follower, LosesNoLineAcrossRotations) {
    const fs::path folder = path_of(host::make_temporary_folder());
    const fs::path log = folder / "print-monitor.log";
    Follower follower(utf8_of(log));
    std::vector<std::string> lines;
    std::string why;
    const auto look = [&] {
        lines.clear();
        EXPECT_TRUE(follower.look([&](std::string_view line) { lines.emplace_back(line); }, why)) << why;
        return lines;
    };
    const auto append = [&](const std::string& text) { std::ofstream(log, std::ios::binary | std::ios::app) << text; };
    const auto rotate = [&] {
        if (fs::exists(log.string() + ".1")) fs::rename(log.string() + ".1", log.string() + ".2");
        fs::rename(log, log.string() + ".1");
    };
    EXPECT_EQ(look(), Ids());
    append("2026-03-01 09:00:00,001 one\n2026-03-01 09:00:00,002 tw");
    EXPECT_EQ(look(), Ids{"2026-03-01 09:00:00,001 one"});
    append("o\n");
    rotate();
    append("2026-03-01 09:00:00,003 three\n");
    rotate();
    append("2026-03-01 09:00:00,004 four\n");
    EXPECT_EQ(look(),
              (Ids{"2026-03-01 09:00:00,002 two", "2026-03-01 09:00:00,003 three", "2026-03-01 09:00:00,004 four"}));
    rotate();
    EXPECT_EQ(look(), Ids());
    append("2026-03-01 09:00:00,005 five\n");
    EXPECT_EQ(look(), Ids{"2026-03-01 09:00:00,005 five"});

    // A large log is read from near its end, from the beginning of a line on.
    std::string much;
    for (int i = 0; much.size() < Follower::from_end + 100'000; ++i) much += "line " + std::to_string(i) + "\n";
    append(much);
    Follower late(utf8_of(log));
    lines.clear();
    EXPECT_TRUE(late.look([&](std::string_view line) { lines.emplace_back(line); }, why));
    EXPECT_EQ(lines[0].rfind("line ", 0), 0u);
    EXPECT_LT(lines.size(), Follower::from_end / 11);  // the last ones have 11 bytes and more
    EXPECT_EQ(lines.back() + "\n", much.substr(much.size() - lines.back().size() - 1));
    fs::remove_all(folder);
}

}  // namespace
}  // namespace test
