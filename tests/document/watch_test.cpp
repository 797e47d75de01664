// tsport watch: what is under way, and what of it needs somebody, from the log that the monitor really writes; and that
// looking at the log keeps no rotation waiting and loses no line.
#include <future>

#include "host/setup.h"
#include "tests/support/helper_script.h"
#include "tsport/report/options.h"
#include "tsport/run.h"
#include "tsport/watch/follower.h"

namespace test {
namespace {

using tsport::report::Timestamp;
using tsport::watch::Follower;

using Ids = std::vector<std::string>;

class WatchedServer : public HelperServer {
  protected:
    // The answer for the log so much later than now, on a terminal of that width.
    std::string look(std::vector<std::string> words, std::chrono::minutes later = {}, size_t width = 0) {
        const Timestamp at = tsport::report::local_now() + later;
        std::string out;
        words.insert(words.begin(), {"watch", folder.log(), "--once"});
        if (later.count() != 0) words.insert(words.end(), {"--at", tsport::report::to_text(at).substr(0, 19)});
        status = tsport::run(words, {std::cin, nullptr, [&out](std::string_view text) { out += text; }, width}).status;
        return out;
    }
    int status = 0;
};

TEST_F(WatchedServer, ShowsADocumentThatIsHeldNow) {
    start();
    check_hardware();
    answer_by("on startdoc WAIT \"Door Open\" until shut then OK");
    EXPECT_NE(look({}).find("no document is under way"), std::string::npos);
    EXPECT_EQ(status, tsport::done);
    auto printing = print_job_meanwhile("page");
    ASSERT_TRUE(wait_until([&] { return logged("extracted wait error string") == 1; }));
    const std::string held = look({"--json"});
    for (const char* const member : {"\"printer\": \"Office\"", "\"job\": 7", "\"phase\": \"held\"",
                                     "\"held_for\": \"Door Open\"", "\"attention\": []"}) {
        EXPECT_NE(held.find(member), std::string::npos) << held;
    }
    EXPECT_NE(look({}, std::chrono::minutes(10)).find("! held.long  Office, job 7: held for "), std::string::npos);
    EXPECT_EQ(status, tsport::not_there);
    for (const std::string& line : split_lines(look({}, std::chrono::minutes(10), 60))) {
        EXPECT_LE(line.size(), 60u) << line;
    }
    EXPECT_NE(look({"--printer", "Other"}).find("no document is under way"), std::string::npos);
    EXPECT_EQ(status, tsport::done);
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
