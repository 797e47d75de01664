// The print server of the fault sweep, with a printer on loopback and the sample helper; and what the sweep runs on it.
#pragma once

#include <string>
#include <vector>

#include "host/ports.h"
#include "testbed/print_server.h"
#include "testbed/records.h"
#include "tests/support/linux/stock.h"
#include "winapi/linux/fault.h"

namespace faults {

using host::Text;
using Lines = std::vector<std::string>;

extern const Text kPrinterName;
constexpr DWORD kJob = 7;
// Of which all traces are cleared away.
extern const testbed::DocumentPlan kFullPlan;

// As lines, sorted.
Lines to_lines(const std::vector<host::PortConfig>& ports);

class World : public testbed::PrintServer {
  public:
    World();

    ~World() override { release_library(); }

    const std::string& error() const { return error_; }

    // Empties the spool folders, the log and the registry and stores the port; no monitor is loaded afterwards.
    void reset(const Lines& settings);

    // Lets the library stay when the monitor goes, until it is released.
    void keep_library();
    void release_library();
    bool load() {
        error_.clear();
        return try_load(error_);
    }
    test_printer::TcpPrinter& printer() { return printer_; }
    // The job, as it was prepared.
    host::Outcome print(const std::string& data, DWORD write_size = 8192);
    // What connections since the last call have brought; the empty ones are left out. Waits for one when one must come:
    // a connection that is not waited for may reach the printer late.
    Lines arrived(bool must_come = false);
    // How often a text stands in the log, rotated files included.
    size_t logged(const std::string& text) const;

    Lines listed() const { return to_lines(host::listed_ports(monitor)); }
    static Lines stored() { return to_lines(host::stored_ports()); }

    winapi::fault::Mode mode = winapi::fault::Mode::once;  // in which a call fails

    // Remembers what is open now; later names what is open beside it, empty when nothing is.
    void take_stock() { stock_ = test::take_stock(); }
    std::string left_over() const { return test::grown(stock_, test::take_stock()); }

  private:
    std::string error_;
    test_printer::TcpPrinter printer_;
    size_t seen_ = 0;
    test::Stock stock_;
    HMODULE kept_ = nullptr;
};

// Prepares a world, does what may fail, and says what has to hold then.
struct Scenario {
    const char* name;
    // Without faults. Leaves the monitor loaded unless loading is what may fail.
    void (*prepare)(World& world);
    // With a fault. Returns what is wrong with its outcome, empty when it is one that may be.
    std::string (*run)(World& world);
    // Each of its calls fails in every sample, too.
    bool is_sampled_whole = false;
};

const std::vector<Scenario>& scenarios();

// The pages that scenarios and the look afterwards print.
const std::string& page();

}  // namespace faults
