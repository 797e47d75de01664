// The finished library in a host, with ports that lead to the receiver, called as the spooler calls it.
#pragma once

#include <string>
#include <vector>

#include "testbed/print_server.h"

namespace bench {

class PrintServer : public testbed::PrintServer {
  public:
    // Stores `ports` ports that lead to the receiver's TCP port; start() loads the monitor.
    PrintServer(std::uint16_t receiver_port, unsigned ports);

    // Loads the monitor anew with these settings and no others.
    void start(const std::vector<std::string>& settings = {});
    void stop() { monitor.unload(); }

    // One document from OpenPort to ClosePort: `size` bytes, in writes of the first `write_size` bytes of `data`. The
    // calling thread has a ClientScope. Throws Failed when a call fails.
    void print(unsigned port, const std::vector<char>& data, std::uint64_t size, size_t write_size) const;

    // The calls of a document one by one.
    HANDLE begin(unsigned port) const;
    void write(HANDLE handle, const char* data, size_t size) const;
    void end(HANDLE handle) const;

    static host::Text name_of(unsigned port);

    static constexpr DWORD kFirstJob = 7;  // of port 0; each printer has one of its own, which its ports share

  private:
    std::vector<host::Text> names_;
    const host::Text document_ = W("document");
};

}  // namespace bench
