// One port of the soak: its printer, the thread's documents one after the other, and for each of them whether what was
// reported is what happened.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>

#include "tests/soak/server.h"

namespace soak {

class Port {
  public:
    Port(Server& server, unsigned number, std::uint64_t seed);

    const host::Text& name() const { return name_; }
    const std::string& error() const { return printer_->error(); }
    // A printer that all addresses lead to which administrators may choose.
    static std::unique_ptr<peer::TcpPrinter> new_printer(Random& random);
    static const host::Text& address(size_t index);
    static constexpr size_t kAddresses = 3;
    std::uint16_t number() const { return printer_->port(); }

    void print_one();
    void forget_arrived() { printer_->forget_ended(); }
    // Since when the document under way has been so; the epoch when there is none. For the detection of hangs.
    std::chrono::steady_clock::time_point busy_since() const { return busy_since_.load(); }

    // Administrators' own: one at a time changes or renews the port, and says when it is away.
    std::mutex administration;
    void set_away(bool away) { away_ += away == (away_ % 2 == 0) ? 1 : 0; }

  private:
    // How far the last course of a document has come.
    struct Pace {
        std::uint64_t bytes = 0;
        unsigned writes = 0;
        unsigned felt = 0;  // over all courses: writes behind which the lost connection was waited for
    };
    using Connections = std::vector<peer::Connection>;

    host::Document lay_out(const Plan& plan, Pace& pace);
    void clear_away(const Plan& plan, DWORD job);
    void feel_loss(Pace& pace);
    bool take_arrived(Connections& arrived);
    // What became of the job; `wrong` says what must not be.
    Fate judge(const Plan& plan, const host::Outcome& outcome, const Connections& arrived, bool away,
               std::string& wrong) const;
    Fate judge_printed(const Plan& plan, const host::Outcome& outcome, const Connections& arrived,
                       std::string& wrong) const;
    std::string judge_record(const Plan& plan, const Pace& pace, DWORD job_id) const;

    Server& server_;
    Random random_;
    std::string plain_name_;
    host::Text name_;
    std::unique_ptr<peer::TcpPrinter> printer_;
    size_t seen_ = 0;
    std::atomic<unsigned> away_{0};  // odd while it is
    std::atomic<std::chrono::steady_clock::time_point> busy_since_{};
};

}  // namespace soak
