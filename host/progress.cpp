#include "host/progress.h"

#include <ctime>

namespace host {

using Clock = std::chrono::steady_clock;

Progress::Progress(const Options& options) : options_(options), start_(Clock::now()), moved_(start_) {
    if (options_.stream != nullptr && options_.total != 0) painter_ = std::thread([this] { run(); });
}

Progress::~Progress() {
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    changed_.notify_all();
    if (painter_.joinable()) painter_.join();
    wipe();
}

void Progress::wipe() const {
    if (!shown_) return;
    std::fputs("\r\033[K", options_.stream);
    std::fflush(options_.stream);
}

void Progress::show(std::uint64_t done) {
    const std::lock_guard lock(mutex_);
    if (done == done_) return;
    done_ = done;
    moved_ = Clock::now();
}

void Progress::print(const std::string& line, std::FILE* stream) {
    const std::lock_guard lock(mutex_);
    wipe();
    std::fprintf(stream, "%s\n", line.c_str());
    std::fflush(stream);
}

void Progress::run() {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, options_.first_after, [&] { return ended_; });
    while (!ended_) {
        draw(Clock::now());
        changed_.wait_for(lock, options_.interval, [&] { return ended_; });
    }
}

void Progress::draw(Clock::time_point now) {
    const double seconds = std::chrono::duration<double>(now - start_).count();
    std::string line = options_.line
                           ? options_.line(done_, seconds)
                           : std::to_string(done_) + " of " + std::to_string(options_.total) + " " + options_.deed;
    if (now - moved_ >= options_.still_after) {
        line += "  " + standstill_to_text(options_.standstill,
                                          std::chrono::duration_cast<std::chrono::milliseconds>(now - moved_),
                                          std::chrono::system_clock::now());
    }
    std::fprintf(options_.stream, "\r\033[K%s", line.c_str());
    std::fflush(options_.stream);
    shown_ = true;
}

std::string standstill_to_text(const std::string& what, std::chrono::milliseconds duration,
                               std::chrono::system_clock::time_point now) {
    const std::time_t since = std::chrono::system_clock::to_time_t(now - duration);
    char clock[16] = {};
    std::strftime(clock, sizeof clock, "%H:%M:%S", std::localtime(&since));
    return what + " for " + std::to_string(duration.count() / 1000) + " s, since " + clock;
}

}  // namespace host
