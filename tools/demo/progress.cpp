#include "tools/demo/progress.h"

#include <cstdio>
#include <string>

#include "tools/host/platform.h"
#include "tools/host/text.h"

namespace demo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint64_t width = 40;
constexpr auto first_after = std::chrono::milliseconds(200);
constexpr auto interval = std::chrono::milliseconds(100);

}  // namespace

Progress::Progress(std::uint64_t total)
    : total_(total), terminal_(host::stdout_is_terminal()), start_(Clock::now()), next_(start_ + first_after) {}

Progress::~Progress() {
    if (!shown_) return;
    std::fputs("\r\033[K", stdout);
    std::fflush(stdout);
}

void Progress::show(std::uint64_t done) {
    const Clock::time_point now = Clock::now();
    if (!terminal_ || total_ == 0 || now < next_) return;
    next_ = now + interval;
    shown_ = true;
    const auto filled = static_cast<size_t>(width * done / total_);
    const double seconds = std::chrono::duration<double>(now - start_).count();
    std::printf("\r\033[K  [%s%s] %3llu %%  %s of %s  %s", std::string(filled, '#').c_str(),
                std::string(width - filled, '.').c_str(), static_cast<unsigned long long>(100 * done / total_),
                host::size_in_words(done).c_str(), host::size_in_words(total_).c_str(),
                host::rate_in_words(done, seconds).c_str());
    std::fflush(stdout);
}

}  // namespace demo
