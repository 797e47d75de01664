// A TCP printer outside Wine: a fakeprinter that tools/windows.sh has started. It stores what arrives in a folder and
// writes what it has to say into a file of the same name.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "winapi/winapi.h"

namespace test {

// True as soon as the condition holds; false when it does not for a very long time.
template <typename Condition>
bool wait_until(Condition condition) {
    constexpr DWORD limit_ms = 120000;
    const ULONGLONG start = GetTickCount64();
    while (!condition()) {
        if (GetTickCount64() - start > limit_ms) return false;
        Sleep(5);
    }
    return true;
}

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
