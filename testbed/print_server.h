// A print server for tools and tests: its folders and settings, printers that listen on loopback, their ports, and the
// monitor in its host.
#pragma once

#include <chrono>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include "host/monitor_host.h"
#include "testbed/test_printer/tcp_printer.h"

namespace testbed {

using host::BaseFolder;
using host::Document;
using host::MonitorHost;
using host::Outcome;
using host::Source;
using host::Text;

// Whether a condition becomes true within a minute, which is long enough for a busy machine.
template <typename Condition>
bool wait_until(Condition condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

class PrintServer {
  public:
    // Empties the registry and the spooler's simulation. In a temporary folder, which goes with it unless it is kept;
    // or in the caller's.
    PrintServer();
    explicit PrintServer(const std::string& install);
    virtual ~PrintServer();
    PrintServer(const PrintServer&) = delete;
    PrintServer& operator=(const PrintServer&) = delete;

    // The folders and settings, which later calls add to; false with the reason when they cannot be made.
    bool set_up(const std::vector<std::string>& settings, std::string& why);
    // Loads the monitor from `load_options`, or into another host; false with the reason when it does not start.
    bool try_load(std::string& why) { return load_into(monitor, why); }
    bool load_into(MonitorHost& host, std::string& why) const;
    void keep_folder() { is_temporary_ = false; }

    // A printer of the spooler with a port of the same name, which leads to a TCP printer of its own. Before loading.
    // error() of the TCP printer says what went wrong.
    test_printer::TcpPrinter& add_printer(const Text& name);

    // A document on the printer's own port.
    static Document document(const Text& printer, Source source, DWORD write_size = 65536);
    Outcome print(const Text& printer, const std::string& data, DWORD write_size = 65536) {
        return monitor.print_document(document(printer, host::memory_source(data), write_size));
    }

    BaseFolder folder;
    MonitorHost::Options load_options;  // all but the folder; the library is the one beside the program
    MonitorHost monitor;

  private:
    bool is_temporary_ = false;
    std::list<test_printer::TcpPrinter> printers_;
};

}  // namespace testbed
