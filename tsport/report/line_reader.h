// A log, line by line, in bounded memory.
#pragma once

#include <cstdint>
#include <istream>
#include <string_view>
#include <vector>

namespace tsport::report {

class LineReader {
  public:
    static constexpr size_t longest = 1 << 20;  // bytes of a line

    // The stream has to outlive the reader.
    explicit LineReader(std::istream& stream) : stream_(stream), buffer_(longest + 1) {}

    // The next line; false behind the last one, or when the stream cannot be read.
    bool next();
    // Without its line feed; valid until the next one is read.
    std::string_view line() const { return line_; }
    // False when the line is longer than that: its rest has been skipped.
    bool complete() const { return complete_; }
    std::uint64_t bytes() const { return bytes_; }
    // Some tools write a copy as UTF-16; none of its lines can be understood.
    bool is_utf16() const { return is_utf16_; }

  private:
    std::istream& stream_;
    std::vector<char> buffer_;
    std::string_view line_;
    bool complete_ = true;
    bool is_utf16_ = false;
    std::uint64_t bytes_ = 0;
};

}  // namespace tsport::report
