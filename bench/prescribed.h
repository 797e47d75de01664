// The limit for a whole document: the plainest program that makes the calls of Windows that a document takes.
#pragma once

#include <string>
#include <vector>

#include "bench/print_server.h"

namespace bench {

// The ports of a print server without a monitor: the calls that each document has to make, logging off, in their order,
// with nothing around them.
class Prescribed {
  public:
    // So many ports that lead to the receiver, named and numbered as the server's, whose files they look for. The
    // server has been started: its log is there.
    Prescribed(const PrintServer& server, std::uint16_t receiver_port, unsigned ports);
    ~Prescribed();
    Prescribed(const Prescribed&) = delete;
    Prescribed& operator=(const Prescribed&) = delete;

    // One document, as PrintServer::print() has it printed; on several threads at once, too. Throws Failed when a call
    // fails.
    void print(unsigned port, const std::vector<char>& data, std::uint64_t size, size_t write_size);

  private:
    struct Port {
        host::Text name;
        host::Text printer;
        host::Text address;
        DWORD job;
        std::string marker;  // files that no document here has
        std::string settings;
        std::string attributes;
    };
    const Port& open_port(const host::Text& name);
    void ask_for_log_size();

    CRITICAL_SECTION lock_;  // of the list of ports
    CRITICAL_SECTION log_lock_;
    std::vector<Port> ports_;
    host::Text service_;
    std::string log_;
};

}  // namespace bench
