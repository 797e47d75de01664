// The history of one job: its log lines in plain words.
#pragma once

#include "tsport/json.h"
#include "tsport/report/document.h"
#include "tsport/report/messages.h"

namespace tsport::report {

class JobHistory {
  public:
    JobHistory(std::uint32_t job, Sink sink) : job_(job), sink_(std::move(sink)) {}

    // A line and its document, which may be another job's.
    void add(const LogLine& line, const Message& message, const Document& document);
    void finish() { write_buffers(); }

  private:
    // Buffers one after the other make one line.
    struct Buffers {
        std::uint64_t count = 0;
        std::uint64_t bytes = 0;
        Timestamp first;
        const char* where = "";
    };
    bool add_buffer(const LogLine& line, const Message& message);
    void write_buffers();
    void write(Timestamp time, const std::string& text);

    const std::uint32_t job_;
    const Sink sink_;
    Buffers buffers_;
    std::uint32_t thread_ = 0;
    bool begun_ = false;
};

}  // namespace tsport::report
