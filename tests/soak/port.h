// One port of the soak: its printer, the thread's documents one after the other, and for each of them whether what was
// reported is what happened. And the administrators who work on the ports while these print.
#pragma once

#include <atomic>
#include <deque>
#include <mutex>
#include <vector>

#include "host/ports.h"
#include "tests/soak/plan.h"
#include "tests/soak/server.h"

namespace soak {

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
    using Connections = std::vector<test_printer::Connection>;

    bool take_arrived(Connections& arrived);
    bool knock(const std::string& data) const;
    // What must not be; empty when all is as it has to be.
    std::string judge(const Plan& plan, const host::Outcome& outcome, const Connections& arrived, bool away) const;
    std::string judge_printed(const Plan& plan, const host::Outcome& outcome, const Connections& arrived) const;

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
