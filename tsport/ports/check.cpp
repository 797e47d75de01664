#include "tsport/ports/check.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace tsport {

contract::PrinterCheck check_printer(const Port& port, std::chrono::milliseconds limit) {
    return contract::CheckPrinter(port.address.c_str(), port.number, static_cast<DWORD>(limit.count()));
}

std::string to_text(const contract::PrinterCheck& check) {
    using contract::Verdict;
    switch (check.verdict) {
        case Verdict::accepted:
            break;
        case Verdict::refused:
            return "refuses connections";
        case Verdict::no_answer:
            return "does not answer";
        case Verdict::unknown_name:
            return "has a name that cannot be resolved here";
        case Verdict::failed:
            return "cannot be reached: " + host::error_message(check.error);
    }
    if (check.silent == 0) return "accepts connections";
    return "accepts connections, but not at all of its " + std::to_string(check.addresses) +
           " addresses: " + std::to_string(check.silent) + (check.silent == 1 ? " does" : " do") +
           " not answer, and a document waits " + std::to_string(check.wait_seconds) + " seconds there first";
}

void for_each_at_once(size_t count, const std::function<void(size_t)>& call, size_t at_once) {
    std::atomic<size_t> next{0};
    std::vector<std::thread> threads;
    for (size_t i = 0; i < std::min(at_once, count); ++i) {
        threads.emplace_back([&] {
            for (size_t at = next++; at < count; at = next++) call(at);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace tsport
