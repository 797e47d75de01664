// A monitor that this process loads itself, over the ports of a file.
#pragma once

#include <string>

#include "host/monitor_host.h"
#include "tsport/file.h"
#include "tsport/ports/ports_file.h"

namespace tsport {

struct Command;

// While loaded it is the monitor of this process's spooler simulation. Its ports are in the registry, below a key of
// their own that goes with the object.
class Hosted {
  public:
    Hosted();
    ~Hosted();
    Hosted(const Hosted&) = delete;
    Hosted& operator=(const Hosted&) = delete;

    // Over the ports of the command's store, which is locked against other processes when the command changes it; a
    // file that does not exist holds no ports. False with the reason.
    bool load(const Command& command, std::string& why);
    // Adds the monitor's ports, in the registry's order.
    bool read(std::vector<Port>& ports) const;
    // Stores ports, new ones and such that are there, and starts the monitor anew with them: adding them one by one
    // would have it list all its ports for each. No channel to the monitor may be open. False with the reason.
    bool put(const std::vector<Port>& ports, std::string& why);
    // Writes the monitor's ports back into the file; false with the reason.
    bool keep(std::string& why);

  private:
    bool write(const std::vector<Port>& ports) const;

    std::string path_;
    FileLock lock_;
    PortsFile file_;
    host::MonitorHost::Options setup_;
    host::MonitorHost monitor_;
};

}  // namespace tsport
