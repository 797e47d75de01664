// Figures for people.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tsport::report {

// 1,234,567
std::string grouped(std::uint64_t number);
// "1 document", "2 documents"
std::string counted(std::uint64_t number, std::string_view what);
// "12 ms", "3.4 s", "2 min 5 s".
std::string duration_text(std::uint64_t milliseconds);

}  // namespace tsport::report
