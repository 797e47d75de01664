// The log while many threads write and its file rotates: every line once, whole, in its thread's order.
#include <map>
#include <thread>

#include "common/global.h"
#include "common/log.h"
#include "tests/unit/log_fixture.h"

namespace {

class LogUnderLoad : public LogTest {};

TEST_F(LogUnderLoad, NoLineIsLostTornOrOutOfOrder) {
    constexpr int kThreads = 8;
    constexpr int kLines = 400;
    constexpr int kFiles = 200;
    for (const auto& [check_count, debug] : {std::pair{0, 0}, {1, 0}, {1, 1}, {7, 1}, {200, 1}}) {
        session_context.debug_logging = debug;
        session_context.log_rotate_check_count = check_count;
        session_context.log_rotate_number = kFiles;
        session_context.log_rotate_size_kbytes = 8;
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([t] {
                for (int n = 0; n < kLines; ++n) log_info(nullptr, 0, "thread %d says %d of a long line to tear", t, n);
            });
        }
        for (std::thread& thread : threads) thread.join();
        if (check_count == 0) log_rotate(kFiles, 8192);
        log_close();

        std::map<int, int> next;
        int rotated = 0;
        for (int i = kFiles; i >= 0; --i) {
            const std::string file = i == 0 ? log_path : log_path + "." + std::to_string(i);
            if (!os_file_exists(file.c_str())) continue;
            rotated += i > 0 ? 1 : 0;
            for (const std::string& line : parse_log(read_bytes(file))) {
                int thread = -1;
                int number = -1;
                char rest[8] = "";
                if (!line.starts_with("INFO : thread ")) continue;
                sscanf(line.c_str(), "INFO : thread %d says %d of a long line to %7s", &thread, &number, rest);
                EXPECT_STREQ(rest, "tear") << line;
                EXPECT_EQ(number, next[thread]++) << line;
            }
            EXPECT_EQ(os_file_delete(file.c_str()), 1);
        }
        EXPECT_GT(rotated, 0);
        for (int t = 0; t < kThreads; ++t) EXPECT_EQ(next[t], kLines) << "thread " << t;
    }
}

}  // namespace
