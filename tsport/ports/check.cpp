#include "tsport/ports/check.h"

#include <algorithm>
#include <atomic>
#include <numeric>
#include <thread>

#include "tsport/platform.h"

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

std::vector<contract::PrinterCheck> check_printers(const std::vector<Port>& ports, std::chrono::milliseconds limit,
                                                   const std::function<void(size_t)>& progress) {
    std::vector<contract::PrinterCheck> checks(ports.size());
    const size_t most = most_sockets() / 2;  // a name seldom has more addresses than two
    size_t done = 0;
    for (size_t begin = 0; begin < ports.size(); begin += most) {
        std::vector<contract::PrinterProbe> probes(std::min(most, ports.size() - begin));
        for_each_at_once(probes.size(), [&](size_t at) {
            probes[at].Start(ports[begin + at].address.c_str(), ports[begin + at].number);
        });
        std::vector<size_t> waiting(probes.size());
        std::iota(waiting.begin(), waiting.end(), size_t{0});
        while (!waiting.empty()) {
            // Looks at each, and waits for the first alone.
            const size_t first = waiting[0];
            const bool first_ended = probes[first].Wait(50, static_cast<DWORD>(limit.count()));
            std::erase_if(waiting, [&](size_t at) {
                const bool ended = at == first ? first_ended : probes[at].Wait(0, static_cast<DWORD>(limit.count()));
                if (ended) checks[begin + at] = probes[at].check();
                if (ended) ++done;
                return ended;
            });
            if (progress) progress(done);
        }
    }
    return checks;
}

std::string to_text(const contract::PrinterCheck& check) {
    std::string message = verdicts[static_cast<size_t>(check.verdict)].message;
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
