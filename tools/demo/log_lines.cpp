#include "tools/demo/log_lines.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace demo {
namespace {

constexpr size_t most_lines = 60;
constexpr const char* telling[] = {
    " ERROR: ",         " INFO : ", "Starting port monitor version", "Start Doc Port - pFullPrinterName",
    ", total duration", ", Total ", "Deleting the notapproved file",
};

bool tells(const std::string& line) {
    return std::any_of(std::begin(telling), std::end(telling),
                       [&](const char* part) { return line.find(part) != std::string::npos; });
}

}  // namespace

std::vector<std::string> telling_lines(const std::string& log_path) {
    std::vector<std::string> lines;
    std::ifstream log(log_path, std::ios::binary);
    for (std::string line; lines.size() < most_lines && std::getline(log, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (tells(line)) lines.push_back(line);
    }
    return lines;
}

}  // namespace demo
