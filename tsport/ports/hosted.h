// A monitor that this process loads itself, over the ports of a file.
#pragma once

#include <chrono>
#include <string>

#include "host/monitor_host.h"
#include "tsport/file.h"
#include "tsport/ports/ports_file.h"

namespace tsport {

// The ports in the registry, below a key of their own that goes with the object.
class Store {
  public:
    Store();
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    HKEY hive() const;
    // The monitor's key below the hive.
    const Text& path() const { return path_; }

    bool write(const std::vector<Port>& ports) const;
    // In the registry's order.
    bool read(std::vector<Port>& ports) const;

  private:
    Text path_;
};

// While loaded it is the monitor of this process's spooler simulation.
class Hosted {
  public:
    struct Options {
        std::string library;               // empty: the one beside this program or in the folder above
        std::string store;                 // the file; one that does not exist holds no ports
        bool for_changes = false;          // locks the file against other processes
        std::chrono::milliseconds wait{};  // how long to wait for that lock
    };
    bool load(const Options& options, std::string& why);
    const Store& store() const { return store_; }
    // Stores ports, new ones and such that are there, and starts the monitor anew with them: adding them one by one
    // would have it list all its ports for each. No channel to the monitor may be open. False with the reason.
    bool put(const std::vector<Port>& ports, std::string& why);
    // Writes the monitor's ports back into the file; false with the reason.
    bool keep(std::string& why);

  private:
    bool start(std::string& why);

    std::string path_;
    std::string library_;
    FileLock lock_;
    PortsFile file_;
    Store store_;  // outlives the monitor
    host::MonitorHost monitor_;
};

}  // namespace tsport
