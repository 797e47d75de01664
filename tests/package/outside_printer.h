// A TCP printer outside Wine: a fakeprinter that tools/windows.sh has started. It stores what arrives in a folder and
// writes what it has to say into a file of the same name.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/host/print_server.h"

namespace test {

using host::wait_until;

struct Arrival {
    std::string data;
    std::string end;  // of the connection, in the printer's words
    bool operator==(const Arrival&) const = default;
};

class OutsidePrinter {
  public:
    explicit OutsidePrinter(std::filesystem::path folder) : folder_(std::move(folder)) {}

    // 0 when it never says one.
    DWORD port();
    // The connection that has come after the last one that was asked for, whenever it ends.
    Arrival next();
    // The data of the next `count` of them, sorted.
    std::vector<std::string> next_data(size_t count);
    // Whatever came so far is of no interest.
    void forget();

  private:
    std::string said() const;
    // How a connection has ended; empty while it has not.
    std::string end_of(size_t connection) const;

    std::filesystem::path folder_;
    DWORD port_ = 0;
    size_t asked_ = 0;
};

}  // namespace test
