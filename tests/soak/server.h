// The print server under soak: the monitor in its host, and the account of what became of each job.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "tests/soak/plan.h"
#include "tests/support/linux/stock.h"
#include "tools/host/print_server.h"

namespace soak {

// The monitor waits 30 s for a printer to close; here that is one second.
constexpr double kClockSpeed = 30;

enum class Fate {
    printed,  // arrived whole, and was reported so
    refused,  // by marker or helper: nothing arrived
    failed,   // reported as failed, with a reason
    no_port,  // the port was deleted at that moment
    lost,     // reported as printed, and lost by the printer, which had not yet read all when it ended the connection
};
constexpr const char* kFateNames[] = {"printed", "refused", "failed", "no port", "lost after last send"};
constexpr size_t kFates = std::size(kFateNames);

class Account {
  public:
    void add(Kind kind, Fate fate, unsigned restarts, std::uint64_t bytes);
    // Something that must not be; the first ones are printed.
    void wrong(const std::string& what);

    std::uint64_t documents() const { return documents_; }
    std::uint64_t restarts() const { return restarts_; }
    std::uint64_t bytes() const { return bytes_; }
    std::uint64_t wrongs() const { return wrongs_; }
    std::uint64_t count(size_t kind, size_t fate) const { return counts_[kind][fate]; }

  private:
    std::atomic<std::uint64_t> counts_[kKinds][kFates] = {};
    std::atomic<std::uint64_t> documents_{0};
    std::atomic<std::uint64_t> restarts_{0};
    std::atomic<std::uint64_t> bytes_{0};
    std::atomic<std::uint64_t> wrongs_{0};
    std::mutex output_;
};

struct Server : host::PrintServer {
    Account account;
};

// What is open or in use while nothing prints.
struct Stock : test::Stock {
    size_t descriptors = 0;
    size_t work_files = 0;  // and records of jobs
    size_t heap = 0;        // bytes in use; 0 when a sanitizer's allocator does not tell
    size_t resident = 0;    // bytes
};

Stock take_stock(const Server& server);
// What has grown, empty when nothing has.
std::string grown(const Stock& before, const Stock& after);

// For the lines on the way.
size_t open_descriptors();
size_t resident_bytes();

}  // namespace soak
