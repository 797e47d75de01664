// A scratch base directory whose print-monitor.log is the log, and a look at what was logged.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "common/global.h"
#include "common/log.h"
#include "common/os.h"
#include "tests/support/scratch.h"

using Strings = std::vector<std::string>;

inline std::string read_bytes(const std::string& path) {
    FILE* const file = os_fopen(path.c_str(), "rb");
    if (file == nullptr) return "missing";
    std::string bytes;
    for (int byte = 0; (byte = fgetc(file)) != EOF;) bytes += static_cast<char>(byte);
    fclose(file);
    return bytes;
}

inline void write_bytes(const std::string& path, const std::string& bytes) {
    FILE* const file = os_fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr) << path;
    EXPECT_EQ(fwrite(bytes.data(), 1, bytes.size(), file), bytes.size());
    EXPECT_EQ(fclose(file), 0);
}

inline Strings split(const std::string& text, const std::string& line_end) {
    Strings lines;
    size_t start = 0;
    for (size_t end = 0; (end = text.find(line_end, start)) != std::string::npos; start = end + line_end.size()) {
        lines.push_back(text.substr(start, end - start));
    }
    EXPECT_EQ(start, text.size()) << "the last line is not whole";
    return lines;
}

// "ERROR: message" of each line; the time, the place and the thread are left out.
inline Strings parse_log(const std::string& bytes) {
    constexpr char kTimestamp[] = "0000-00-00 00:00:00,000 ";
    const std::string thread = " [" + std::to_string(GetCurrentThreadId()) + "]";
    Strings lines = split(bytes, "\r\n");
    for (std::string& line : lines) {
        std::string shape = line.substr(0, strlen(kTimestamp));
        for (char& character : shape) {
            if (character >= '0' && character <= '9') character = '0';
        }
        EXPECT_EQ(shape, kTimestamp) << line;
        line.erase(0, strlen(kTimestamp));
        if (!line.ends_with(thread)) continue;
        line.resize(line.size() - thread.size());
        const size_t dash = line.find(" - ");
        if (line.substr(0, dash).find(".cpp:") != std::string::npos) line.erase(7, dash + 3 - 7);
    }
    return lines;
}

class LogTest : public testing::Test {
  protected:
    LogTest() : log_path(path("print-monitor.log")) {
        memset(&session_context, 0, sizeof session_context);  // levels off, never a rotation
        log_init_lock();
        log_set_path(log_path.c_str());
    }
    ~LogTest() override {
        log_set_path("");
        memset(&session_context, 0, sizeof session_context);
    }

    std::string path(const std::string& name) const { return dir_.narrow(name); }
    std::string base() const { return path("").substr(0, path("").size() - 1); }

    // What was logged since the last look: its bytes, or its lines without their times and places.
    std::string logged_bytes() const {
        log_close();
        const std::string bytes = os_file_exists(log_path.c_str()) ? read_bytes(log_path) : "";
        os_file_delete(log_path.c_str());
        return bytes;
    }
    Strings logged() const { return parse_log(logged_bytes()); }

  private:
    ScratchDir dir_;

  protected:
    const std::string log_path;
};
