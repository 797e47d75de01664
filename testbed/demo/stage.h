// What the demonstration works with: a print server with its monitor, and a printer, inside the demo or a real one.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "testbed/print_server.h"

namespace demo {

extern const char printer_name[];

class Stage : public testbed::PrintServer {
  public:
    // For a real printer, or without a host for one inside the demo. False with the reason when the monitor cannot be
    // started.
    bool open(const std::string& host, DWORD port, std::string& why);

    std::string address() const { return host_ + ":" + std::to_string(port_); }
    // Null when a real one is used.
    test_printer::TcpPrinter* printer() { return printer_.get(); }

    // A document for the printer, with a job id of its own.
    host::Document document(const std::string& name, const host::Source& source);
    // Prints, with a progress bar on a terminal when it takes a while.
    host::Outcome print(host::Document document);
    // The connections that have come since the last call, once they have ended. Waits for one when one must come.
    std::vector<test_printer::Connection> arrivals(bool must_come);
    // The lines that tell the story, of those logged since the last call.
    std::vector<std::string> log_lines();

  private:
    std::unique_ptr<test_printer::TcpPrinter> printer_;
    std::string host_;
    DWORD port_ = 0;
    size_t connections_seen_ = 0;
    std::streamoff log_seen_ = 0;
};

// The bytes of a document.
std::string bytes_of(const host::Source& source);

}  // namespace demo
