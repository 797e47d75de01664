// The soak: 64 ports print at once, for minutes, jobs of all sizes and outcomes on printers and helpers that fail,
// while administrators change the ports. Every job is accounted for, and nothing may be left over at the end.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <set>
#include <thread>

#include "host/command_line/options.h"
#include "host/platform.h"
#include "tests/soak/soak.h"
#include "winapi/linux/control.h"

namespace soak {
namespace {

using Clock = std::chrono::steady_clock;

// The monitor waits 30 s for a printer to close; here that is one second.
constexpr double kClockSpeed = 30;
constexpr unsigned kPorts = 64;
constexpr unsigned kAdministrators = 3;
constexpr auto kProgress = std::chrono::seconds(10);
// Chunks that threads' caches and vectors of this program hold on to differ from one look to the next.
constexpr std::uint64_t kHeapTolerance = 256 << 10;
constexpr std::uint64_t kShownWrongs = 20;

struct Options {
    std::uint64_t minutes = 10;
    std::uint64_t documents = 0;  // instead of minutes
    std::uint64_t seed = 20240607;
    bool keep = false;  // logs and records
};

class Soak {
  public:
    explicit Soak(const Options& options) : options_(options) {}

    bool set_up();
    // The first part warms everything up; what is open after it is what may be open at the end.
    bool run();

  private:
    // Until the time is over or so many documents are printed in all.
    void run_part(Clock::time_point end, std::uint64_t documents);
    void watch(const std::atomic<unsigned>& running);
    void check_ports();

    const Options options_;
    Server server_;
    std::deque<Port> ports_;
};

bool Soak::set_up() {
    winapi::set_clock_speed(kClockSpeed);
    winapi::allow_dns(false);
    for (const LPCWSTR name : {W("office.example"), W("printer.example")}) winapi::set_host(name, {"127.0.0.1"});
    std::string why = "the helper program cannot be copied";
    for (unsigned i = 0; i < kPorts; ++i) ports_.emplace_back(server_, 100 + i, options_.seed * kPorts + i);
    const bool ready =
        server_.set_up({"Debug=on", "IsPrintingBasedOnPortMonitor=on", "LogRotateNumber=3", "LogRotateSizeKBytes=4096"},
                       why) &&
        testbed::install_helper(server_.folder) && server_.try_load(why);
    if (!ready) std::fprintf(stderr, "cannot be set up: %s\n", why.c_str());
    return ready;
}

void Soak::run_part(Clock::time_point end, std::uint64_t documents) {
    std::atomic<bool> stop{false};
    std::atomic<unsigned> running{kPorts};
    std::atomic<std::uint64_t> tickets{server_.documents.load()};
    std::vector<std::thread> threads;
    std::vector<std::thread> administrators;
    for (Port& port : ports_) {
        spooler_sim::add_printer(port.name());
        threads.emplace_back([&] {
            while (Clock::now() < end && tickets++ < documents) port.print_one();
            --running;
        });
    }
    for (unsigned i = 0; i < kAdministrators; ++i) {
        administrators.emplace_back(
            [&, seed = options_.seed + tickets + i] { administrate(server_, ports_, seed, stop); });
    }
    watch(running);
    for (std::thread& thread : threads) thread.join();
    stop = true;
    for (std::thread& thread : administrators) thread.join();
    check_ports();
    // The simulation remembers what every printer has shown, and a TCP printer its last connections.
    for (Port& port : ports_) {
        spooler_sim::remove_printer(port.name());
        port.forget_arrived();
    }
}

void Soak::watch(const std::atomic<unsigned>& running) {
    auto next = Clock::now() + kProgress;
    while (running != 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        if (Clock::now() < next) continue;
        next += kProgress;
        std::printf("%s, %zu handles\n", server_.sums().c_str(), winapi::open_handles());
        std::fflush(stdout);
        // Finished helpers leave their transcripts, and the next one looks for the first free number among them.
        std::error_code ignored;
        std::filesystem::remove_all(server_.folder.base + "/ts-print-monitor.runs", ignored);
    }
}

// List and registry agree, and both hold the ports that print and no others.
void Soak::check_ports() {
    std::multiset<host::Text> ours;
    for (const Port& port : ports_) ours.insert(port.name());
    const auto are_ours = [&ours](const std::vector<host::PortConfig>& ports) {
        std::multiset<host::Text> names;
        for (const host::PortConfig& port : ports) names.insert(port.port_name);
        return names == ours;
    };
    if (!are_ours(host::stored_ports())) server_.wrong("the stored ports are not those that print");
    if (!are_ours(host::listed_ports(server_.monitor))) server_.wrong("the listed ports are not those that print");
}

bool Soak::run() {
    std::printf("seed %llu\n", static_cast<unsigned long long>(options_.seed));
    const bool timed = options_.documents == 0;
    const auto begin = Clock::now();
    const auto whole = std::chrono::duration_cast<Clock::duration>(std::chrono::minutes(options_.minutes));
    const auto first = std::min<Clock::duration>(whole / 4, std::chrono::minutes(1));
    const std::uint64_t most = timed ? UINT64_MAX : options_.documents;
    run_part(timed ? begin + first : Clock::time_point::max(), most / 4);
    test::Stock warm = server_.take_stock();
    warm["work files"] = 0;
    warm["bytes of heap"] += kHeapTolerance;
    run_part(timed ? begin + whole : Clock::time_point::max(), most);
    const std::string more = test::grown(warm, server_.take_stock());
    if (!more.empty()) server_.wrong("left over: " + more);
    if (options_.keep || server_.wrongs != 0) {
        server_.keep_folder();
        std::printf("logs and records: %s\n", server_.folder.install.c_str());
    }
    std::printf("%s, %s wrong\n", server_.sums().c_str(), std::to_string(server_.wrongs).c_str());
    return server_.wrongs == 0;
}

size_t entries(const std::filesystem::path& folder) {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

}  // namespace

// -- The print server ------------------------------------------------------------------------------------------------

void Server::wrong(const std::string& what) {
    const std::lock_guard lock(output);
    if (++wrongs > kShownWrongs) return;
    std::printf("WRONG: %s\n", what.c_str());
    std::fflush(stdout);
}

std::string Server::sums() const {
    return std::to_string(documents) + " documents, " + std::to_string(restarts) + " restarts, " +
           std::to_string(failed) + " failed";
}

test::Stock Server::take_stock() const {
    test::Stock stock = test::take_stock();
    stock["descriptors"] = entries("/proc/self/fd");
    for (const char* const name : {"forceattr", "hpc", "notapprovedjobs", "settings"}) {
        stock["work files"] += entries(folder.spool(name));
    }
    stock["bytes of heap"] = mallinfo2().uordblks + mallinfo2().hblkhd;
    return stock;
}

}  // namespace soak

int main(int count, char** arguments) {
    soak::Options options;
    const command_line::Program program = {
        "soak",
        "usage: soak [--minutes M | --documents N] [--seed S] [--keep]\n",
        {command_line::number("--minutes", 1, 100000, options.minutes),
         command_line::number("--documents", 1, UINT32_MAX, options.documents),
         command_line::number("--seed", 0, UINT64_MAX, options.seed), command_line::flag("--keep", options.keep)}};
    int status = 0;
    if (!command_line::operands_of(program, host::program_arguments(count, arguments), status)) return status;
    alarm(static_cast<unsigned>(60 * options.minutes + 600));  // what hangs ends
    soak::Soak soak(options);
    if (!soak.set_up()) return 2;
    return soak.run() ? 0 : 1;
}
