// Text that is written in pieces, whatever its total length.
#pragma once

#include <charconv>
#include <concepts>
#include <string>
#include <string_view>

#include "tools/tsport/report/report.h"

namespace tsport::report {

class Writer {
  public:
    explicit Writer(const Sink& sink) : sink_(sink) {}
    ~Writer() { flush(); }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    Writer& operator<<(std::string_view text) {
        buffer_ += text;
        if (buffer_.size() >= 65536) flush();
        return *this;
    }
    template <std::integral Number>
    Writer& operator<<(Number number) {
        char digits[24];
        return *this << std::string_view(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
    }
    void flush() {
        if (!buffer_.empty()) sink_(buffer_);
        buffer_.clear();
    }

  private:
    const Sink& sink_;
    std::string buffer_;
};

// 1,234,567
std::string grouped(std::uint64_t number);
// "1 document", "2 documents"
std::string counted(std::uint64_t number, std::string_view what);
// "12 ms", "3.4 s", "2 min 5 s".
std::string duration_text(std::uint64_t milliseconds);

}  // namespace tsport::report
