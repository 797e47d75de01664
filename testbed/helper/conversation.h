// One run of the helper: the conversation with the monitor over standard input and output.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "testbed/helper/script.h"

namespace helper {

class Conversation {
  public:
    // `folder` is the helper's own. The run gets the first free number there; its transcript is written to
    // "ts-print-monitor.runs/NUMBER/transcript": every line that is read, and how the run ended, in brackets.
    explicit Conversation(const std::filesystem::path& folder);

    // Until the monitor closes the input, the job is written, or the script says so. The program's exit code.
    int run();

  private:
    bool read_script(const std::string& name);  // false when it is there and cannot be understood
    bool read_line(std::string& line);
    void note(const std::string& line);
    void end(const std::string& how);  // no step follows, and no line is read any more
    void obey(const std::string& line);
    void take(const Step& step);
    void wait(const Step& step);
    void pause(const Step& step);
    void write(const char* data, size_t size);
    void write_text(const std::string& text) { write(text.data(), text.size()); }
    void write_pattern(std::uint64_t size);
    void rewrite();

    const std::filesystem::path folder_;
    unsigned number_ = 0;
    std::ofstream transcript_;
    Script script_;
    std::string command_;
    std::string spool_file_;
    bool stopped_ = false;  // the rest of the steps is left out
    bool ended_ = false;
};

}  // namespace helper
