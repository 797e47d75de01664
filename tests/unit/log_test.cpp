// The log's lines and the rotation of its file.
#include <algorithm>
#include <chrono>

#include "tests/support/platform.h"
#include "tests/unit/log_fixture.h"

namespace {

class Log : public LogTest {
  protected:
    std::string numbered(int number) const { return log_path + "." + std::to_string(number); }
    // The log file, the temporary file and the numbered files 1 to 4.
    Strings contents() {
        log_close();
        Strings all = {read_bytes(log_path), read_bytes(log_path + ".tmp")};
        for (int i = 1; i <= 4; ++i) all.push_back(read_bytes(numbered(i)));
        return all;
    }
};

TEST_F(Log, WritesTheLevelsThatAreOn) {
    for (const auto& [debug, dev, levels] : {std::tuple{0, 0, "3 4 5 99 "},
                                             {1, 0, "2 3 4 5 99 2 "},
                                             {0, 1, "1 3 4 5 99 1 "},
                                             {1, 1, "1 2 3 4 5 99 1 2 "}}) {
        session_context.debug_logging = debug;
        session_context.dev_logging = dev;
        for (const int level : {-1, 0, 1, 2, 3, 4, 5, 99}) {
            log_with_code(static_cast<LogLevel>(level), LOG_HERE, 2, "%d - ", level);
        }
        log_dev(LOG_HERE, "1 - ");
        log_debug(LOG_HERE, "2 - ");
        std::string written;
        for (const std::string& line : logged()) {
            written += line.substr(7, line.find(" -") - 6);
            const char level = line[7];
            EXPECT_EQ(line.substr(0, 7), level == '1'   ? "DEV  : "
                                         : level == '2' ? "DEBUG: "
                                         : level == '4' ? "ERROR: "
                                                        : "INFO : ");
        }
        EXPECT_EQ(written, levels);
    }
}

TEST_F(Log, LaysOutALine) {
    const std::string thread = " [" + std::to_string(GetCurrentThreadId()) + "]\r\n";
    const std::string large(5000, 'm');
    for (const auto& [file, place] : {std::pair<const char*, const char*>{"any.cpp", "any.cpp:7 - "},
                                      {nullptr, ""},
                                      {"tessaron.cpp", "ts.cpp:7 - "},
                                      {"TessaronPrintService.cpp", "TSPrintService.cpp:7 - "},
                                      {"Tessaron.cpp", "Tessaron.cpp:7 - "}}) {
        session_context.debug_logging = 1;
        log_info(file, 7, "%s", large.c_str());
        EXPECT_EQ(read_bytes(log_path).substr(24), "INFO : " + (place + large) + thread) << "flushed, while it is open";
        logged();
        session_context.debug_logging = 0;
        log_write("INFO ", file, 7, "hello");
        EXPECT_EQ(logged_bytes().substr(24), "INFO : hello\r\n");
    }
}

TEST_F(Log, AppendsTheSystemsTextOfAnError) {
    char text[kErrorTextSize];
    os_get_error_string(ERROR_FILE_NOT_FOUND, text);
    EXPECT_EQ(std::string(text).find_first_of("\r\n"), std::string::npos);
    SetLastError(2);
    log_error_last_error(LOG_HERE, "last %d", 1);
    log_error_code(LOG_HERE, 2, "%s", std::string(600, 'm').c_str());
    log_error_code(LOG_HERE, 0xE0001234, "unknown");
    const Strings lines = logged();
    EXPECT_EQ(lines.at(0), std::string("ERROR: last 1 - ") + text + " (Error: 2)");
    EXPECT_EQ(lines.at(1), "ERROR: " + std::string(511, 'm')) << "such a line is cut";
    EXPECT_TRUE(lines.at(2).starts_with("ERROR: unknown - [Failed to find message for code -536866252: due to "));
    EXPECT_TRUE(lines[2].ends_with("] (Error: -536866252)")) << lines[2];
    os_get_error_string(0xE0001234, text);
    EXPECT_EQ(GetLastError(), 0xE0001234);
}

TEST_F(Log, LeavesTheLastErrorAlone) {
    session_context.debug_logging = session_context.dev_logging = session_context.log_rotate_check_count = 1;
    session_context.log_rotate_number = 3;  // each line rotates
    void (*const calls[])() = {[] { log_dev(LOG_HERE, "x"); }, [] { log_write("INFO ", nullptr, 0, "x"); },
                               [] { log_debug_last_error(LOG_HERE, "x"); },
                               [] { log_error_code(LOG_HERE, 0xE0004321, "x"); }, [] { log_close(); }};
    for (const std::string& file : {log_path, path("none\\log"), std::string()}) {
        log_set_path(file.c_str());
        for (auto* const call : calls) {
            SetLastError(0xE0001234);
            call();
            EXPECT_EQ(GetLastError(), 0xE0001234) << file;
        }
    }
}

TEST_F(Log, OpensItsFileWhenItCan) {
    log_set_path(path("later\\log").c_str());
    log_info(LOG_HERE, "lost");
    os_mkdir(path("later").c_str());
    log_info(LOG_HERE, "kept");
    log_close();
    EXPECT_EQ(parse_log(read_bytes(path("later\\log"))), Strings{"INFO : kept"});
}

TEST_F(Log, MovesEveryFileUpByOne) {
    const struct {
        uint32_t number;
        uint32_t limit;
        Strings after;
    } cases[] = {
        {3, 4, {"live", "stale", "one", "two", "three", "four"}},
        {3, 3, {"missing", "missing", "live", "one", "two", "four"}},
        {4, 0, {"missing", "missing", "live", "one", "two", "three"}},
        {2, 0, {"missing", "missing", "live", "one", "three", "four"}},
        {1, 0, {"live", "stale", "one", "two", "three", "four"}},
        {0, 0, {"live", "stale", "one", "two", "three", "four"}},
    };
    for (const auto& row : cases) {
        const Strings before = {"one", "two", "three", "four"};
        for (int i = 1; i <= 4; ++i) write_bytes(numbered(i), before[static_cast<size_t>(i - 1)]);
        write_bytes(log_path + ".tmp", "stale");
        write_bytes(log_path, "live");
        EXPECT_EQ(log_rotate(row.number, row.limit), 1);
        EXPECT_EQ(contents(), row.after) << row.number << " " << row.limit;
    }
}

TEST_F(Log, LosesNothingWhenItCannotRotate) {
    write_bytes(log_path, "live");
    os_mkdir((log_path + ".tmp").c_str());
    EXPECT_EQ(log_rotate(3, 0), 0);
    EXPECT_EQ(read_bytes(log_path), "live");

    // Once the file is set aside, the rotation goes on past a failure.
    const std::string other = path("other");
    log_set_path(other.c_str());
    for (const char* const end : {"", ".1", ".2"}) write_bytes(other + end, std::string("live") + end);
    os_mkdir((other + ".3").c_str());
    EXPECT_EQ(log_rotate(3, 0), 0);
    log_info(LOG_HERE, "next");
    log_close();
    EXPECT_EQ(read_bytes(other + ".1") + read_bytes(other + ".2") + read_bytes(other + ".tmp"), "live.1live.2live");
    EXPECT_EQ(parse_log(read_bytes(other)), Strings{"INFO : next"});

    // A numbered file that somebody has open stays where it is; what does not need its place is moved.
    const std::string held = path("held");
    log_set_path(held.c_str());
    write_bytes(held, "live");
    write_bytes(held + ".2", "held");
    FILE* const reader = os_fopen((held + ".2").c_str(), "r");
    EXPECT_EQ(log_rotate(4, 0), 0);
    fclose(reader);
    EXPECT_EQ(read_bytes(held + ".1") + read_bytes(held + ".2"), "liveheld");

    for (const size_t length : {255u, 256u, 259u}) {  // too long to number
        const std::string file = path(std::string(length - path("").size(), 'l'));
        log_set_path(file.c_str());
        write_bytes(file, "live");
        EXPECT_EQ(log_rotate(3, 0), length == 255 ? 1 : 0);
        EXPECT_EQ(read_bytes(file), length == 255 ? "missing" : "live");
    }
    for (const auto& [kbytes, limit] : {std::pair{0, 0u},
                                        {10240, 10485760u},
                                        {4194303, 4294966272u},
                                        {4194304, UINT32_MAX},
                                        {INT32_MAX, UINT32_MAX}}) {
        session_context.log_rotate_size_kbytes = kbytes;
        EXPECT_EQ(log_rotate_limit(), limit) << kbytes;
    }
}

// Files are moved by what is there, however many may be kept and wherever there are gaps.
TEST_F(Log, KeepsAsManyFilesAsItIsTold) {
    const Strings others = {".02", ".2x", ".+2", ".99999999999", ".0"};
    for (const std::string& end : others) write_bytes(log_path + end, "other");
    for (const char* const end : {".1", ".2", ".7", ".1500", ".2147483646"}) write_bytes(log_path + end, end);
    write_bytes(log_path, "live");
    EXPECT_EQ(log_rotate(INT32_MAX, 0), 1);
    write_bytes(log_path, "next");
    EXPECT_EQ(log_rotate(INT32_MAX, 0), 1);
    log_close();
    const std::pair<const char*, const char*> after[] = {
        {".1", "next"},    {".2", "live"}, {".3", ".1"},       {".4", ".2"},
        {".7", "missing"}, {".9", ".7"},   {".1502", ".1500"}, {".2147483647", "missing"}};
    for (const auto& [end, content] : after) EXPECT_EQ(read_bytes(log_path + end), content) << end;
    for (const std::string& end : others) EXPECT_EQ(read_bytes(log_path + end), "other") << end;
}

TEST_F(Log, TellsTheLocalTime) {
    test::set_variable("TZ", "XXX-5:30");
    char text[64];
    os_get_second_string(text, sizeof text, 1615298822 - (5 * 60 + 30) * 60);
    EXPECT_STREQ(text, "2021-03-09 14:07:02");
    test::set_variable("TZ", nullptr);

    using namespace std::chrono;
    const auto now = [] { return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count(); };
    // Of a moment, as the log tells it.
    const auto told = [&text](int64_t milliseconds) {
        char rest[8];
        os_get_second_string(text, sizeof text, milliseconds / 1000);
        snprintf(rest, sizeof rest, ",%03d", static_cast<int>(milliseconds % 1000));
        return text + std::string(rest);
    };
    for (int i = 0; i < 3; ++i) {
        const std::string before = told(now() - 20);  // the time may be that of the system's last tick
        log_info(LOG_HERE, "x");
        const std::string line = logged_bytes().substr(0, 23);
        os_get_time_string(text, sizeof text);
        const std::string asked = text;
        const std::string after = told(now());
        EXPECT_TRUE(before <= line && line <= asked && asked <= after) << line << " " << asked;
        Sleep(7);
    }
}

TEST_F(Log, ChecksItsSizeAtEvery200thLine) {
    log_info(LOG_HERE, "seed");
    session_context.log_rotate_number = 10;
    session_context.log_rotate_check_count = 200;  // and a limit of 0: each check rotates
    for (int i = 0; i < 1000; ++i) log_info(LOG_HERE, "line");
    log_close();
    EXPECT_EQ(parse_log(read_bytes(log_path)).size() + parse_log(read_bytes(numbered(5))).size(), 201u);
    for (int i = 1; i < 5; ++i) EXPECT_EQ(parse_log(read_bytes(numbered(i))).size(), 200u) << i;
    EXPECT_FALSE(os_file_exists(numbered(6).c_str()));
}

}  // namespace
