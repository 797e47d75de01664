#include "bench/plain.h"

#include <algorithm>

namespace bench {

std::string printer_address(unsigned number) {
    return "127.0.0." + std::to_string(number % kPrinters + 1);
}

void send_plainly(unsigned number, std::uint16_t port, const std::vector<char>& data, std::uint64_t size,
                  size_t write_size) {
    const Socket connection = connect_to(number, port);
    for (std::uint64_t done = 0; done < size; done += write_size) {
        send_all(connection, data.data(), static_cast<size_t>(std::min<std::uint64_t>(write_size, size - done)));
    }
    end_connection(connection);
}

}  // namespace bench
