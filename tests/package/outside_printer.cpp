#include "tests/package/outside_printer.h"

#include <algorithm>
#include <sstream>

#include "tests/support/files.h"

namespace test {
namespace {

constexpr char between_fields[] = "  ";

}  // namespace

std::string OutsidePrinter::said() const {
    fs::path log = folder_;
    return read_file(log += ".log");
}

// "listening on 127.0.0.1:PORT", or "refusing on ..."
DWORD OutsidePrinter::port() {
    wait_until([&] {
        const std::string text = said();
        const size_t colon = text.find(':');
        if (text.find('\n') == std::string::npos || colon == std::string::npos) return false;
        port_ = static_cast<DWORD>(std::stoul(text.substr(colon + 1)));
        return true;
    });
    return port_;
}

// "connection N  BYTES bytes  TIME  END  sha256 SUM"
std::string OutsidePrinter::end_of(size_t connection) const {
    const std::string text = said();
    size_t at = text.find("connection " + std::to_string(connection) + between_fields);
    if (at == std::string::npos || text.find('\n', at) == std::string::npos) return std::string();
    for (int field = 0; field < 3; ++field) at = text.find(between_fields, at) + 2;
    return text.substr(at, text.find(between_fields, at) - at);
}

Arrival OutsidePrinter::next() {
    const size_t connection = ++asked_;
    Arrival arrival;
    if (wait_until([&] { return !end_of(connection).empty(); })) {
        arrival.end = end_of(connection);
        arrival.data = read_file(folder_ / ("connection-" + std::to_string(connection) + ".bin"));
    }
    return arrival;
}

std::vector<std::string> OutsidePrinter::next_data(size_t count) {
    std::vector<std::string> data(count);
    for (std::string& one : data) one = next().data;
    std::sort(data.begin(), data.end());
    return data;
}

void OutsidePrinter::forget() {
    while (!end_of(asked_ + 1).empty()) ++asked_;
}

}  // namespace test
