// tsport watch follows a log over its rotations.
#include "tsport/watch/follower.h"

#include <gtest/gtest.h>

#include "host/setup.h"
#include "tests/support/files.h"

namespace test {
namespace {

using tsport::watch::Follower;

using Ids = std::vector<std::string>;

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
