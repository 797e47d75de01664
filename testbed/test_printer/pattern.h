// Data for documents of tools and tests: reproducible bytes that do not arise by accident.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace test_printer {

// One sequence, piece by piece.
class Pattern {
  public:
    void fill(char* data, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            state_ = state_ * 1664525u + 1013904223u;
            data[i] = static_cast<char>(state_ >> 24);
        }
    }

  private:
    std::uint32_t state_ = 0x2545F491;
};

inline std::string pattern(std::size_t size) {
    std::string data(size, '\0');
    Pattern().fill(data.data(), data.size());
    return data;
}

}  // namespace test_printer
