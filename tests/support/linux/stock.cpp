#include "tests/support/linux/stock.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "testbed/print_server.h"
#include "winapi/linux/control.h"

namespace test {
namespace {

// The children of this process that live.
size_t children() {
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream stat(entry.path() / "stat");
        std::string line;
        if (!std::getline(stat, line)) continue;
        const size_t name_end = line.rfind(')');
        if (name_end == std::string::npos) continue;
        if (std::stoi(line.substr(name_end + 4)) == getpid()) ++count;
    }
    return count;
}

}  // namespace

Stock take_stock() {
    testbed::wait_until([] { return children() == 0; });
    return {{"handles", winapi::open_handles()},
            {"allocations of the global heap", winapi::open_allocations()},
            {"open printers", spooler_sim::open_printers()},
            {"identity tokens", spooler_sim::open_tokens()},
            {"misuses of handles or locks", winapi::misuses()},
            {"children", children()}};
}

std::string grown(const Stock& before, const Stock& after) {
    std::string text;
    for (const auto& [what, count] : after) {
        const std::uint64_t was = before.empty() ? 0 : before.at(what);
        if (count <= was) continue;
        text += std::to_string(count) + " " + what + ", not " + std::to_string(was) + "; ";
        if (what == "handles") text += winapi::describe_open_handles();
    }
    return text;
}

}  // namespace test
