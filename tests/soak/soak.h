// The soak's parts: the jobs, the print server, its ports and their printers, and the administrators who work on the
// ports while these print.
#pragma once

#include <atomic>
#include <deque>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "host/ports.h"
#include "testbed/print_server.h"
#include "testbed/records.h"
#include "tests/support/linux/stock.h"

namespace soak {

using Random = std::mt19937_64;

// A number from 0 on that is less than `end`.
inline std::uint64_t below(Random& random, std::uint64_t end) {
    return random() % end;
}

// -- The print server ------------------------------------------------------------------------------------------------

struct Server : testbed::PrintServer {
    // Something that must not be; the first ones are printed.
    void wrong(const std::string& what);
    // With work files, records of jobs among them, and bytes of heap in use; a sanitizer's allocator does not tell
    // these.
    test::Stock take_stock() const;

    // "N documents, N restarts, N failed"
    std::string sums() const;

    std::atomic<std::uint64_t> documents{0};
    std::atomic<std::uint64_t> failed{0};  // of them
    std::atomic<std::uint64_t> restarts{0};
    std::atomic<std::uint64_t> wrongs{0};
    std::mutex output;
};

// -- A port ----------------------------------------------------------------------------------------------------------

// Its printer, the documents of its thread one after the other, and for each of them whether what was reported is what
// happened.
class Port {
  public:
    // Before the monitor is loaded.
    Port(Server& server, unsigned number, std::uint64_t seed);

    const host::Text& name() const { return name_; }
    // The configurations that lead to its printer.
    host::PortConfig config(size_t address) const;
    static constexpr size_t kAddresses = 3;

    void print_one();
    void forget_arrived() { printer_.forget_ended(); }

    // Administrators' own: one at a time changes or renews the port.
    std::mutex administration;
    std::atomic<unsigned> renewals{0};  // counts when it goes and when it is back: odd while it is away

  private:
    bool take_arrived(std::vector<test_printer::Connection>& arrived);
    bool knock(const std::string& data) const;

    Server& server_;
    Random random_;
    std::string plain_name_;
    host::Text name_;
    test_printer::TcpPrinter& printer_;
    size_t seen_ = 0;
};

// One administrator, until `stop`. Several may work at once; all ports that print are there when the last one has gone,
// and no others.
void administrate(Server& server, std::deque<Port>& ports, std::uint64_t seed, const std::atomic<bool>& stop);

}  // namespace soak
