// The history of one job: its log lines in plain words.
#pragma once

#include "tools/tsport/report/report.h"

namespace tsport::report {

class Collector::Life {
  public:
    Life(std::uint32_t job, Sink sink) : job_(job), sink_(std::move(sink)) {}

    void take(const Line& line, const Message& message, const Document& document);
    void finish() { tell_data(); }

  private:
    // Buffers one after the other make one line.
    struct Data {
        std::uint64_t buffers = 0;
        std::uint64_t bytes = 0;
        std::string from;
        const char* where = "";
    };
    bool add_data(const Line& line, const Message& message);
    void tell_data();
    void tell(std::string_view stamp, const std::string& words);

    const std::uint32_t job_;
    const Sink sink_;
    Data data_;
    std::uint32_t thread_ = 0;
    bool begun_ = false;
};

}  // namespace tsport::report
