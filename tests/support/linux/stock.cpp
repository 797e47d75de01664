#include "tests/support/linux/stock.h"

#include <sys/wait.h>

#include "testbed/print_server.h"
#include "winapi/linux/control.h"

namespace test {
namespace {

// Whether a child of this process lives, or has not been waited for.
bool has_children() {
    siginfo_t unused;
    return waitid(P_ALL, 0, &unused, WEXITED | WNOHANG | WNOWAIT) == 0;
}

}  // namespace

Stock take_stock() {
    testbed::wait_until([] { return !has_children(); });
    return {{"handles", winapi::open_handles()},
            {"allocations of the global heap", winapi::open_allocations()},
            {"open printers", spooler_sim::open_printers()},
            {"identity tokens", spooler_sim::open_tokens()},
            {"misuses of handles or locks", winapi::misuses()},
            {"children", has_children() ? 1 : 0}};
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
