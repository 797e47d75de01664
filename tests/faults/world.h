// A print server for the fault sweep: the library under test, a printer on loopback, the sample helper, and the checks
// after a run in which a call failed.
#pragma once

#include <string>
#include <vector>

#include "tools/host/monitor_host.h"
#include "tools/peer/tcp_printer.h"

namespace faults {

using host::Text;

extern const Text kPrinterName;
constexpr DWORD kJob = 7;

class World {
  public:
    // `library` and `helper`: paths of this machine.
    World(std::string library, std::string helper);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    const std::string& error() const { return error_; }

    // Empties the spool folders, the log and the registry and stores the port; no monitor is loaded afterwards.
    void reset(const std::vector<std::string>& settings);
    void answer_by(const std::string& script) const;  // the helper's answers
    void check_hardware() const;                      // for the printer
    void force_attributes() const;                    // for the job
    void mark_not_approved() const;                   // the job
    void remove_records() const;                      // all of these

    bool load();
    void unload() { monitor_.unload(); }
    host::MonitorHost& monitor() { return monitor_; }
    peer::TcpPrinter& printer() { return printer_; }
    const host::BaseFolder& folder() const { return folder_; }

    host::Outcome print(const std::string& data, DWORD write_size = 8192);
    // What connections since the last call have brought; the empty ones are left out. Waits for one when one must come:
    // a connection that is not waited for may reach the printer late.
    std::vector<std::string> arrived(bool must_come = false);

    // Names of the ports that EnumPorts lists, and of those that are stored; sorted.
    std::vector<std::string> listed_ports();
    static std::vector<std::string> stored_ports();

    // Remembers what is open now; later names what is open beside it, empty when nothing is.
    void take_stock();
    std::string left_over() const;

  private:
    std::string error_;
    std::string library_;
    std::string install_;
    host::BaseFolder folder_;
    host::MonitorHost monitor_;
    peer::TcpPrinter printer_;
    size_t seen_ = 0;
    size_t handles_ = 0;
    size_t allocations_ = 0;
    std::uint64_t misuses_ = 0;
};

// The children of this process that live.
int children();

}  // namespace faults
