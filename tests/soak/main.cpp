// The soak: 64 ports print at once, for minutes, jobs of every size and course on printers and helpers that fail, while
// administrators change the ports. Every job is accounted for, and nothing may be left over at the end.
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <thread>

#include "tests/soak/administrators.h"
#include "tools/command_line/options.h"
#include "tools/host/platform.h"
#include "tools/host/ports.h"
#include "tools/host/records.h"
#include "winapi/linux/control.h"

namespace soak {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr unsigned kPorts = 64;
constexpr unsigned kAdministrators = 3;
constexpr auto kProgress = std::chrono::seconds(10);
constexpr auto kHang = std::chrono::minutes(3);

struct Options {
    std::uint64_t minutes = 10;
    std::uint64_t documents = 0;  // instead of minutes
    std::uint64_t seed = 20240607;
};

constexpr char kUsage[] = "usage: soak [--minutes M | --documents N] [--seed S]\n";

class Soak {
  public:
    explicit Soak(const Options& options) : options_(options) {}
    ~Soak() {
        if (server_.account.wrongs() != 0) server_.keep_folder();
    }
    Soak(const Soak&) = delete;
    Soak& operator=(const Soak&) = delete;

    bool set_up();
    // The first part warms everything up; what is open after it is what may be open at the end.
    bool run();

  private:
    // Until the time is over or so many documents are printed in all.
    void run_part(Clock::time_point end, std::uint64_t documents);
    void watch(const std::atomic<unsigned>& running);
    void show_progress() const;
    void check_ports();
    void show_table() const;

    const Options options_;
    const Clock::time_point begin_ = Clock::now();
    Server server_;
    std::deque<Port> ports_;
    Random random_{options_.seed};
    std::unique_ptr<peer::TcpPrinter> idle_ = Port::new_printer(random_);
    std::atomic<std::uint64_t> tickets_{0};
};

bool Soak::set_up() {
    std::string why = idle_->error();
    winapi::set_clock_speed(kClockSpeed);
    winapi::allow_dns(false);
    winapi::set_host(W("printer.example"), {"127.0.0.3"});
    const std::vector<std::string> settings = {"Debug=on", "IsPrintingBasedOnPortMonitor=on", "LogRotateNumber=3",
                                               "LogRotateSizeKBytes=4096"};
    bool ready = why.empty() && server_.set_up(settings, why);
    if (ready && !host::install_helper(server_.folder)) {
        why = "the helper program cannot be copied";
        ready = false;
    }
    ready = ready && server_.try_load(why);
    for (unsigned i = 0; i < kPorts && ready; ++i) {
        const Port& port = ports_.emplace_back(server_, 100 + i, options_.seed * kPorts + i);
        why = port.error();
        ready = why.empty() && add_port(server_, port.name(), port.number());
    }
    if (!ready) std::fprintf(stderr, "cannot be set up: %s\n", why.c_str());
    return ready;
}

// -- Running ---------------------------------------------------------------------------------------------------------

void Soak::run_part(Clock::time_point end, std::uint64_t documents) {
    std::atomic<bool> stop{false};
    std::atomic<unsigned> running{kPorts};
    std::vector<std::thread> threads;
    for (Port& port : ports_) {
        spooler_sim::add_printer(port.name());
        threads.emplace_back([&] {
            while (Clock::now() < end && tickets_++ < documents) port.print_one();
            --running;
        });
    }
    std::vector<std::thread> administrators;
    for (unsigned i = 0; i < kAdministrators; ++i) {
        administrators.emplace_back(
            [&, i] { administrate(server_, ports_, *idle_, options_.seed + tickets_ + i, stop); });
    }
    watch(running);
    for (std::thread& thread : threads) thread.join();
    stop = true;
    for (std::thread& thread : administrators) thread.join();
    tickets_ = server_.account.documents();
    check_ports();
    // The simulation remembers what every printer has shown, and a TCP printer its last connections.
    for (Port& port : ports_) {
        spooler_sim::remove_printer(port.name());
        port.forget_arrived();
    }
    idle_->forget_ended();
}

void Soak::watch(const std::atomic<unsigned>& running) {
    auto next = Clock::now() + kProgress;
    while (running != 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        if (Clock::now() < next) continue;
        next += kProgress;
        show_progress();
        // Finished helpers leave their transcripts, and the next one looks for the first free number among them.
        std::error_code ignored;
        fs::remove_all(server_.folder.base + "/ts-print-monitor.runs", ignored);
        idle_->forget_ended();
        for (const Port& port : ports_) {
            const Clock::time_point since = port.busy_since();
            if (since == Clock::time_point() || Clock::now() - since < kHang) continue;
            std::printf("WRONG: a document on %s hangs; everything is in %s\n", host::to_utf8(port.name()).c_str(),
                        server_.folder.install.c_str());
            std::fflush(stdout);
            _exit(3);
        }
    }
}

void Soak::show_progress() const {
    const double seconds = std::chrono::duration<double>(Clock::now() - begin_).count();
    const Account& account = server_.account;
    std::printf(
        "%5.0f s  %8llu documents  %8.1f MiB  %6llu restarts  %4zu handles  %4zu descriptors  %2d helpers  "
        "%6.1f MiB resident\n",
        seconds, static_cast<unsigned long long>(account.documents()), static_cast<double>(account.bytes()) / (1 << 20),
        static_cast<unsigned long long>(account.restarts()), winapi::open_handles(), open_descriptors(),
        static_cast<int>(test::children()), static_cast<double>(resident_bytes()) / (1 << 20));
    std::fflush(stdout);
}

// List and registry agree, and both hold the ports that print and no others.
void Soak::check_ports() {
    std::vector<std::string> expected;
    const auto names = [](const std::vector<host::PortConfig>& ports) {
        std::vector<std::string> all;
        for (const host::PortConfig& port : ports) all.push_back(host::to_utf8(tsmon::FieldText(port.port_name).text));
        std::sort(all.begin(), all.end());
        return all;
    };
    for (const Port& port : ports_) expected.push_back(host::to_utf8(port.name()));
    if (names(host::stored_ports()) != expected) server_.account.wrong("the stored ports are not those that print");
    if (names(host::listed_ports(server_.monitor)) != expected) {
        server_.account.wrong("the listed ports are not those that print");
    }
}

bool Soak::run() {
    std::printf("seed %llu\n", static_cast<unsigned long long>(options_.seed));
    constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};
    const bool timed = options_.documents == 0;
    const auto whole = std::chrono::duration_cast<Clock::duration>(std::chrono::minutes(options_.minutes));
    const Clock::duration first = std::min<Clock::duration>(whole / 4, std::chrono::minutes(1));
    run_part(timed ? begin_ + first : Clock::time_point::max(), timed ? kNoLimit : options_.documents / 4);
    const Stock warm = take_stock(server_);
    run_part(timed ? begin_ + whole : Clock::time_point::max(), timed ? kNoLimit : options_.documents);
    const Stock end = take_stock(server_);
    const std::string more = grown(warm, end);
    if (!more.empty()) server_.account.wrong("left over: " + more);
    show_table();
    std::printf("                    warm        end\n");
    const auto row = [](const char* what, size_t was, size_t is) { std::printf("%-12s %11zu %10zu\n", what, was, is); };
    row("handles", warm.handles, end.handles);
    row("allocations", warm.allocations, end.allocations);
    row("descriptors", warm.descriptors, end.descriptors);
    row("helpers", warm.children, end.children);
    row("work files", warm.work_files, end.work_files);
    row("heap KiB", warm.heap >> 10, end.heap >> 10);
    row("resident KiB", warm.resident >> 10, end.resident >> 10);
    const std::uint64_t wrongs = server_.account.wrongs();
    if (wrongs != 0) std::printf("logs and records: %s\n", server_.folder.install.c_str());
    std::printf("%llu documents, %llu restarts, %llu wrong\n",
                static_cast<unsigned long long>(server_.account.documents()),
                static_cast<unsigned long long>(server_.account.restarts()), static_cast<unsigned long long>(wrongs));
    return wrongs == 0;
}

void Soak::show_table() const {
    std::printf("\n%-24s", "");
    for (const char* const name : kFateNames) std::printf("%21s", name);
    for (size_t kind = 0; kind < kKinds; ++kind) {
        std::printf("\n%-24s", kKindNames[kind]);
        for (size_t fate = 0; fate < kFates; ++fate) {
            std::printf("%21llu", static_cast<unsigned long long>(server_.account.count(kind, fate)));
        }
    }
    std::printf("\n\n");
}

}  // namespace
}  // namespace soak

int main(int count, char** arguments) {
    soak::Options options;
    const command_line::Program program = {"soak",
                                           soak::kUsage,
                                           {command_line::number("--minutes", 1, 100000, options.minutes),
                                            command_line::number("--documents", 1, UINT32_MAX, options.documents),
                                            command_line::number("--seed", 0, UINT64_MAX, options.seed)}};
    int status = 0;
    if (!command_line::operands_of(program, host::program_arguments(count, arguments), status)) return status;
    // What is freed goes back to the system: what stays resident is in use.
    mallopt(M_ARENA_MAX, 4);
    mallopt(M_MMAP_THRESHOLD, 64 << 10);
    mallopt(M_TRIM_THRESHOLD, 64 << 10);
    soak::Soak soak(options);
    if (!soak.set_up()) return 2;
    return soak.run() ? 0 : 1;
}
