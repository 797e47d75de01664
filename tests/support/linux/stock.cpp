#include "tests/support/linux/stock.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "testbed/print_server.h"
#include "winapi/linux/control.h"

namespace test {

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

Stock take_stock() {
    testbed::wait_until([] { return children() == 0; });
    return {winapi::open_handles(),     winapi::open_allocations(), spooler_sim::open_printers(),
            spooler_sim::open_tokens(), winapi::misuses(),          children()};
}

std::string grown(const Stock& before, const Stock& after) {
    std::string text;
    const auto look = [&text](const char* what, std::uint64_t was, std::uint64_t is) {
        if (is > was) text += std::to_string(is) + " " + what + ", not " + std::to_string(was) + "; ";
    };
    look("handles", before.handles, after.handles);
    if (after.handles > before.handles) text += winapi::describe_open_handles();
    look("allocations of the global heap", before.allocations, after.allocations);
    look("open printers", before.printers, after.printers);
    look("identity tokens", before.tokens, after.tokens);
    look("misuses of handles or locks", before.misuses, after.misuses);
    look("children", before.children, after.children);
    return text;
}

}  // namespace test
