// The names and texts of a report, each kept once and as a number: documents stay small, and all of them together
// bounded. They come from a log that is not trusted.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

namespace tsport::report {

// 0 is the empty text.
using TextId = std::uint32_t;

class Texts {
  public:
    static constexpr size_t longest = 300;         // bytes of one; what is longer is cut
    static constexpr size_t most = 40'000;         // in number ...
    static constexpr size_t most_bytes = 4 << 20;  // ... and in all; further ones become "(too many names)"

    Texts();
    // The text made displayable: UTF-8, with U+FFFD in place of invalid bytes and of characters that control a terminal
    // or turn the direction of writing.
    TextId add(std::string_view raw);
    const std::string& operator[](TextId id) const { return texts_[id]; }

  private:
    std::deque<std::string> texts_;  // in place for as long as the keys point to them
    std::unordered_map<std::string_view, TextId> known_;
    size_t bytes_ = 0;
};

// What `Texts` makes of a text.
std::string sanitize(std::string_view raw);

// Figures for people: "1,234,567"; "1 document", "2 documents"; "12 ms", "3.4 s", "2 min 5 s".
std::string grouped(std::uint64_t number);
std::string counted(std::uint64_t number, std::string_view what);
std::string duration_text(std::uint64_t milliseconds);

}  // namespace tsport::report
