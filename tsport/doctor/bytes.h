// Numbers and texts at places of a binary file.
#pragma once

#include <cstdint>
#include <string>

namespace tsport::doctor {

// Does not own the bytes. What lies beyond their end is 0, or no text.
class Bytes {
  public:
    explicit Bytes(const std::string& bytes) : bytes_(bytes) {}
    // Little-endian, of `size` bytes, 4 at most.
    std::uint32_t number(std::uint64_t at, size_t size) const {
        std::uint32_t value = 0;
        if (at >= bytes_.size() || bytes_.size() - at < size) return 0;
        for (size_t i = size; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes_[at + i]);
        return value;
    }
    // Up to the next zero.
    std::string text(std::uint64_t at) const {
        if (at >= bytes_.size()) return "";
        return bytes_.substr(at, bytes_.find('\0', at) - at);
    }
    size_t size() const { return bytes_.size(); }

  private:
    const std::string& bytes_;
};

}  // namespace tsport::doctor
