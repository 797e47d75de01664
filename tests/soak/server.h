// The print server under soak, what it counts, and what is open or in use while nothing prints.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "testbed/print_server.h"
#include "tests/support/linux/stock.h"

namespace soak {

struct Server : testbed::PrintServer {
    // Something that must not be; the first ones are printed.
    void wrong(const std::string& what);

    std::atomic<std::uint64_t> documents{0};
    std::atomic<std::uint64_t> failed{0};  // of them
    std::atomic<std::uint64_t> restarts{0};
    std::atomic<std::uint64_t> wrongs{0};
    std::mutex output;
};

struct Stock : test::Stock {
    size_t descriptors = 0;
    size_t work_files = 0;  // and records of jobs
    size_t heap = 0;        // bytes in use; 0 when a sanitizer's allocator does not tell
};

Stock take_stock(const Server& server);
// What has grown, empty when nothing has.
std::string grown(const Stock& before, const Stock& after);

}  // namespace soak
