// SHA-256 (FIPS 180-4), for telling whether two streams carried the same bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace host {

class Sha256 {
  public:
    void update(const void* data, size_t size);
    // The digest of all data so far in lower-case hexadecimal; the object starts anew.
    std::string finish();

  private:
    void compress(const unsigned char* block);

    static constexpr std::array<std::uint32_t, 8> start = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                                           0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    std::array<std::uint32_t, 8> state_ = start;
    std::array<unsigned char, 64> block_{};
    size_t filled_ = 0;
    std::uint64_t total_ = 0;
};

std::string sha256(const std::string& data);

}  // namespace host
