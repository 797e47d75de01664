#include "tsport/ports/check.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace tsport {
namespace {

// In the order of contract::Verdict.
constexpr struct {
    const char* id;
    const char* message;
} verdicts[] = {{"accepted", "accepts connections"},
                {"refused", "refuses connections"},
                {"no-answer", "does not answer"},
                {"unknown-name", "has a name that cannot be resolved here"},
                {"unreachable", "cannot be reached: "}};
static_assert(std::size(verdicts) == static_cast<size_t>(contract::Verdict::failed) + 1);

}  // namespace

contract::PrinterCheck check_printer(const Port& port, std::chrono::milliseconds limit) {
    return contract::CheckPrinter(port.address.c_str(), port.number, static_cast<DWORD>(limit.count()));
}

std::string to_text(const contract::PrinterCheck& check) {
    const std::string message = verdicts[static_cast<size_t>(check.verdict)].message;
    if (check.verdict == contract::Verdict::failed) return message + host::error_message(check.error);
    if (check.verdict != contract::Verdict::accepted || check.silent == 0) return message;
    return message + ", but not at all of its " + std::to_string(check.addresses) +
           " addresses: " + std::to_string(check.silent) + (check.silent == 1 ? " does" : " do") +
           " not answer, and a document waits " + std::to_string(check.wait_seconds) + " seconds there first";
}

const char* id_of(contract::Verdict verdict) {
    return verdicts[static_cast<size_t>(verdict)].id;
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
