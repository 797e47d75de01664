// The log while many threads write and its file rotates: every line once, whole, in its thread's order.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>
#include <vector>

#include "common/log.h"
#include "tests/support/scratch.h"
#include "tools/host/text.h"

namespace {

constexpr int kThreads = 8;
constexpr int kLines = 400;
constexpr int kFiles = 200;

struct Case {
    int check_count;
    bool debug;
};

class LogUnderLoad : public testing::TestWithParam<Case> {};

void read_lines(const std::string& path, std::vector<std::string>& lines) {
    FILE* const file = open_stream(host::to_text(path), W("r"));
    if (file == nullptr) return;
    char line[1024];
    while (fgets(line, sizeof line, file) != nullptr) lines.emplace_back(line);
    fclose(file);
}

TEST_P(LogUnderLoad, NoLineIsLostTornOrOutOfOrder) {
    const ScratchDir scratch;
    const std::string path = scratch.narrow("print-monitor.log");
    session_context.debug_logging = GetParam().debug ? 1 : 0;
    session_context.log_rotate_check_count = GetParam().check_count;
    session_context.log_rotate_number = kFiles;
    session_context.log_rotate_size_kbytes = 8;
    log_init_lock();
    log_set_path(path.c_str());

    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int n = 0; n < kLines; ++n)
                log_info(LOG_HERE, "thread %d says %d of a line long enough to tear", t, n);
        });
    }
    for (std::thread& thread : threads) thread.join();
    if (GetParam().check_count == 0) log_rotate(kFiles, 8192);
    log_close();

    std::vector<std::string> lines;
    for (int i = kFiles; i >= 1; --i) read_lines(path + "." + std::to_string(i), lines);
    const size_t rotated = lines.size();
    EXPECT_GT(rotated, 0u);
    read_lines(path, lines);
    std::map<int, int> next;
    for (const std::string& line : lines) {
        const size_t start = line.find("thread ");
        if (line.find("INFO : ") == std::string::npos || start == std::string::npos) continue;
        int thread = -1;
        int number = -1;
        char rest[64] = "";
        ASSERT_EQ(
            sscanf(line.c_str() + start, "thread %d says %d of a line long enough to %7s", &thread, &number, rest), 3)
            << line;
        EXPECT_EQ(std::string(rest), "tear");
        EXPECT_EQ(line.back(), '\n');
        EXPECT_EQ(number, next[thread]++) << line;
    }
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(next[t], kLines) << "thread " << t;
    log_set_path("");
    session_context = SessionContext{};
}

INSTANTIATE_TEST_SUITE_P(CheckCounts, LogUnderLoad,
                         testing::Values(Case{0, false}, Case{1, false}, Case{1, true}, Case{7, true},
                                         Case{200, true}));

}  // namespace
