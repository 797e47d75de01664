// The configuration of a port, as it is stored and as the configuration channel takes and gives it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "winapi/winapi.h"

namespace contract {

constexpr size_t kPrinterAddressSize = 129;  // characters, terminator included
constexpr size_t kPortNameSize = 65;
constexpr uint32_t kUsualPortNumber = 9100;
constexpr uint32_t kLargestPortNumber = 65535;

// Exchanged byte for byte. The texts may lack their terminators: read them through FieldText.
struct PortConfig {
    WCHAR printer_address[kPrinterAddressSize];  // host name or numeric address
    WCHAR port_name[kPortNameSize];              // the port's key, letter case ignored
    uint32_t port_number;                        // TCP
};
static_assert(sizeof(PortConfig) == 392 && offsetof(PortConfig, port_name) == 258 &&
              offsetof(PortConfig, port_number) == 388);

// A text field up to its terminator and never past its end, terminated.
template <size_t N>
struct FieldText {
    explicit FieldText(const WCHAR (&field)[N]) {
        size_t length = 0;
        for (; length < N && field[length] != 0; ++length) text[length] = field[length];
        text[length] = 0;
    }
    WCHAR text[N + 1];
};

}  // namespace contract
