// Shared by the fuzz targets. A target is one file with LLVMFuzzerTestOneInput: it derives calls from its input and
// checks what must hold for any input; a violation aborts the process. Buffers for the product are vectors of exactly
// the size needed, so that the address sanitizer sees accesses beyond them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/linux/stock.h"
#include "winapi/winapi.h"

namespace fuzz {

using Text = std::basic_string<WCHAR>;

// The bytes of one input, taken off their front; zeros when they have run out.
class Input {
  public:
    Input(const uint8_t* data, size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

    bool empty() const { return rest_.empty(); }
    uint8_t byte() { return rest_.empty() ? uint8_t{0} : static_cast<uint8_t>(bytes(1)[0]); }
    uint16_t word() { return static_cast<uint16_t>(byte() | byte() << 8); }
    // At most that many.
    std::string_view bytes(size_t count);
    // Up to the separator, which is taken too, or all.
    std::string_view until(char separator);
    // The same as UTF-16; stops at a zero.
    Text wide(size_t units);

  private:
    std::string_view rest_;
};

// A folder of its own that is "C:" in this process, and gone with it.
const std::string& scratch();
void write_file(const std::string& native_path, std::string_view contents);

// Nothing has grown when it ends.
struct NothingLeftOver {
    ~NothingLeftOver();
    const test::Stock before = test::take_stock();
};

[[noreturn]] void fail(const char* condition, const char* file, int line);

}  // namespace fuzz

#define REQUIRE(condition)                                                 \
    do {                                                                   \
        if (!(condition)) fuzz::fail(#condition, __FILE_NAME__, __LINE__); \
    } while (false)
