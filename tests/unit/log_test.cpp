// The log's lines and the rotation of its file.
#include <algorithm>
#include <chrono>

#include "common/log.h"
#include "tests/unit/log_fixture.h"

namespace {

class Log : public LogTest {
  protected:
    // The files whose names are the log's and one of these ends; each holds its end, the log itself "live".
    void write_files(const Strings& ends) const {
        for (const std::string& end : ends) write_bytes(log_path + end, end.empty() ? "live" : end);
    }
    Strings contents(const Strings& ends) const {
        log_close();
        Strings all;
        for (const std::string& end : ends) all.push_back(read_bytes(log_path + end));
        return all;
    }
};

TEST_F(Log, WritesTheLevelsThatAreOn) {
    const std::string always = "INFO 3 ERROR 4 INFO 5 INFO 99 ";
    for (const auto& [debug, dev, expected] : {std::tuple{0, 0, always},
                                               {1, 0, "DEBUG 2 " + always + "DEBUG 2 "},
                                               {0, 1, "DEV 1 " + always + "DEV 1 "},
                                               {1, 1, "DEV 1 DEBUG 2 " + always + "DEV 1 DEBUG 2 "}}) {
        session_context.debug_logging = debug;
        session_context.dev_logging = dev;
        for (const int level : {-1, 0, 1, 2, 3, 4, 5, 99}) {
            log_with_code(static_cast<LogLevel>(level), LOG_HERE, 2, "%d - ", level);
        }
        log_dev(LOG_HERE, "1 - ");
        log_debug(LOG_HERE, "2 - ");
        std::string written;
        for (const std::string& line : logged()) {
            EXPECT_EQ(line.substr(5, 2), ": ");
            written += line.substr(0, line.find_first_of(" :")) + " " + line.substr(7, line.find(" -") - 6);
        }
        EXPECT_EQ(written, expected);
    }
}

TEST_F(Log, LaysOutALine) {
    const std::string thread = " [" + std::to_string(GetCurrentThreadId()) + "]\r\n";
    const std::string large(5000, 'm');
    const std::pair<const char*, const char*> cases[] = {{"any.cpp", "any.cpp:7 - "},
                                                         {nullptr, ""},
                                                         {"tessaron.cpp", "ts.cpp:7 - "},
                                                         {"TessaronPrintService.cpp", "TSPrintService.cpp:7 - "},
                                                         {"Tessaron.cpp", "Tessaron.cpp:7 - "}};
    for (const auto& [file, place] : cases) {
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
    const Strings ends = {"", ".tmp", ".1", ".2", ".3", ".4"};
    const Strings unmoved = {"live", ".tmp", ".1", ".2", ".3", ".4"};
    const std::tuple<uint32_t, uint32_t, Strings> cases[] = {
        {3, 4, unmoved},
        {3, 3, {"missing", "missing", "live", ".1", ".2", ".4"}},
        {4, 0, {"missing", "missing", "live", ".1", ".2", ".3"}},
        {2, 0, {"missing", "missing", "live", ".1", ".3", ".4"}},
        {1, 0, unmoved},
        {0, 0, unmoved},
    };
    for (const auto& [number, limit, after] : cases) {
        write_files(ends);
        EXPECT_EQ(log_rotate(number, limit), 1);
        EXPECT_EQ(contents(ends), after) << number << " " << limit;
    }
    session_context.debug_logging = 1;
    log_rotate(3, 0);
    EXPECT_EQ(logged(), Strings{"DEBUG: Successfully rotated log"});
}

TEST_F(Log, LosesNothingWhenItCannotRotate) {
    // A numbered file that somebody has open stays where it is; what does not need its place is moved.
    write_files({"", ".1", ".3"});
    for (const std::string end : {"", ".3"}) {
        FILE* const reader = os_fopen((log_path + end).c_str(), "r");
        EXPECT_EQ(log_rotate(4, 0), 0);
        fclose(reader);
        const Strings moved = contents({".1", ".2"});  // by the second alone: none is moved for nothing
        EXPECT_EQ(moved, end.empty() ? (Strings{".1", "missing"}) : (Strings{"live", ".1"}));
    }
    log_info(LOG_HERE, "next");
    EXPECT_EQ(contents({".1", ".2", ".3"}), (Strings{"live", ".1", ".3"}));
    EXPECT_EQ(logged(), Strings{"INFO : next"});

    write_files({""});
    os_mkdir((log_path + ".tmp").c_str());
    EXPECT_EQ(log_rotate(3, 0), 0);
    EXPECT_EQ(read_bytes(log_path), "live");

    for (const size_t length : {255u, 256u, 259u}) {  // too long to number
        const std::string file = path(std::string(length - path("").size(), 'l'));
        log_set_path(file.c_str());
        write_bytes(file, "live");
        EXPECT_EQ(log_rotate(3, 0), length == 255 ? 1 : 0);
        EXPECT_EQ(read_bytes(file), length == 255 ? "missing" : "live");
    }
    const std::pair<int32_t, uint32_t> limits[] = {
        {0, 0}, {10240, 10485760}, {4194303, 4294966272}, {4194304, UINT32_MAX}, {INT32_MAX, UINT32_MAX}};
    for (const auto& [kbytes, limit] : limits) {
        session_context.log_rotate_size_kbytes = kbytes;
        EXPECT_EQ(log_rotate_limit(), limit) << kbytes;
    }
}

// Files are moved by what is there, however many may be kept and wherever there are gaps.
TEST_F(Log, KeepsAsManyFilesAsItIsTold) {
    const Strings others = {".02", ".2x", ".+2", ".99999999999", ".0"};
    write_files(others);
    write_files({"", ".1", ".2", ".7", ".1500", ".2147483646"});
    EXPECT_EQ(log_rotate(INT32_MAX, 0), 1);
    write_files({""});
    EXPECT_EQ(log_rotate(INT32_MAX, 0), 1);
    EXPECT_EQ(contents({".1", ".2", ".3", ".4", ".7", ".9", ".1502", ".2147483647"}),
              (Strings{"live", "live", ".1", ".2", "missing", ".7", ".1500", "missing"}));
    EXPECT_EQ(contents(others), others);
}

TEST_F(Log, TellsTheTimeOfALine) {
    using namespace std::chrono;
    char text[64];
    const auto now = [] { return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count(); };
    // Of a moment, as the log tells it.
    const auto told = [&text](int64_t milliseconds) {
        char rest[8];
        os_get_second_string(text, sizeof text, milliseconds / 1000);
        snprintf(rest, sizeof rest, ",%03d", static_cast<int>(milliseconds % 1000));
        return text + std::string(rest);
    };
    const std::string before = told(now() - 20);  // the time may be that of the system's last tick
    log_info(LOG_HERE, "x");
    const std::string line = logged_bytes().substr(0, 23);
    os_get_time_string(text, sizeof text);
    const std::string asked = text;
    const std::string after = told(now());
    EXPECT_TRUE(before <= line && line <= asked && asked <= after) << line << " " << asked;
}

TEST_F(Log, ChecksItsSizeAtEvery200thLine) {
    log_info(LOG_HERE, "seed");
    session_context.log_rotate_number = 10;
    session_context.log_rotate_check_count = 200;  // and a limit of 0: each check rotates
    for (int i = 0; i < 1000; ++i) log_info(LOG_HERE, "line");
    const Strings files = contents({"", ".5", ".1", ".2", ".3", ".4", ".6"});
    EXPECT_EQ(parse_log(files[0]).size() + parse_log(files[1]).size(), 201u);
    for (size_t i = 2; i < 6; ++i) EXPECT_EQ(parse_log(files[i]).size(), 200u) << i;
    EXPECT_EQ(files[6], "missing");
}

}  // namespace
