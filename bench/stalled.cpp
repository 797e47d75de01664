// A thousand ports of which half hang: what the others, an administrator and the memory feel of it.
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "bench/plain.h"
#include "bench/plan.h"
#include "bench/print_server.h"
#include "host/platform.h"
#include "host/ports.h"
#include "testbed/records.h"

namespace bench {
namespace {

namespace net = test_printer::net;

constexpr unsigned kPrinting = 500;
constexpr unsigned kStalled = 500;
constexpr unsigned kTurns = 3;
constexpr double kTimeBar = 1.1;
constexpr double kCommandBar = 100;  // ms
constexpr double kMemoryBar = 32;    // KiB
constexpr int kSmallBuffer = 4096;
constexpr DWORD kFirstHeldJob = 1000;
const host::Text kHeldPrinter = W("Held");

void pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// Printers that accept connections, take nothing, and do not close: nobody accepts what the system has accepted.
class SilentPrinters {
  public:
    SilentPrinters() {
        std::string why;
        listener_ = net::bind_to("0.0.0.0", 0, why);
        require(listener_ != net::no_socket, why);
        net::set_receive_buffer(listener_, kSmallBuffer);
        require(net::start_listening(listener_), "the silent printers do not listen");
    }
    ~SilentPrinters() { net::close_socket(listener_); }
    SilentPrinters(const SilentPrinters&) = delete;
    SilentPrinters& operator=(const SilentPrinters&) = delete;

    std::uint16_t port() const { return net::bound_port(listener_); }
    // Breaks off all connections so far.
    void reset() const {
        for (net::Socket one = net::no_socket; (one = net::accept_from(listener_)) != net::no_socket;)
            net::reset_socket(one);
    }

  private:
    net::Socket listener_;
};

// Documents that hang on the ports after the first 500, each on a thread: of the first ones the helper holds the start,
// of the others every second printer takes no data and the rest never close.
class Stalls {
  public:
    Stalls(const PrintServer& server, const SilentPrinters& printers, const std::vector<char>& data)
        : server_(server), printers_(printers), data_(data), hold_(server.folder.base + "/hold") {
        std::ofstream(host::path_of(hold_)) << "a copy of the helper waits while this is there";
        for (unsigned i = 0; i < kStalled; ++i) threads_.emplace_back([this, i] { print(i); });
    }
    ~Stalls() {
        std::error_code ignored;
        std::filesystem::remove(host::path_of(hold_), ignored);
        for (; left_ > 0; pause(50)) printers_.reset();
        for (std::thread& thread : threads_) thread.join();
    }
    Stalls(const Stalls&) = delete;
    Stalls& operator=(const Stalls&) = delete;

    // Until all hang and the machine has come to rest; KiB of memory of this process that each takes, its thread left
    // out.
    double begin() {
        pause(100);
        const double before = resident_kib();
        go_.arrive();
        for (unsigned seen = 0; seen != calls_ || calls_ < kStalled || held() < plan().holding_helpers; pause(1500)) {
            require(left_ == kStalled, "a document that should hang has ended");
            seen = calls_;
        }
        return (resident_kib() - before) / kStalled;
    }

  private:
    static unsigned held() {
        unsigned count = 0;
        for (unsigned i = 0; i < plan().holding_helpers; ++i) {
            spooler_sim::Job job;
            if (spooler_sim::get_job(kHeldPrinter, kFirstHeldJob + i, job) && job.status != 0) ++count;
        }
        return count;
    }

    void print(unsigned i) {
        const spooler_sim::ClientScope client(W("client"));
        const host::MonitorHost& monitor = server_.monitor;
        const bool held = i < plan().holding_helpers;
        HANDLE port = nullptr;
        DWORD written = 0;
        go_.wait();
        monitor.open_port(PrintServer::name_of(kPrinting + i), port);
        if (held) ++calls_;
        const bool started = held ? monitor.start_document(port, kHeldPrinter, kFirstHeldJob + i, W("document"))
                                  : monitor.start_document(port, PrintServer::name_of(i % kPrinters),
                                                           PrintServer::kFirstJob + i % kPrinters, W("document"));
        if (!held) ++calls_;
        DWORD size = started && !held && i % 2 == 0 ? static_cast<DWORD>(data_.size()) : 1;
        while (monitor.write(port, data_.data(), size, written) && size > 1) ++calls_;
        monitor.end_document(port);
        monitor.close_port(port);
        --left_;
    }

    const PrintServer& server_;
    const SilentPrinters& printers_;
    const std::vector<char>& data_;
    const std::string hold_;
    Gate go_{1};
    std::atomic<unsigned> calls_ = 0;  // that have come back, or begun to hang
    std::atomic<unsigned> left_ = kStalled;
    std::vector<std::thread> threads_;
};

// An administrator asks for ports and changes one, over and over, while one more port prints; the longest answer in
// seconds.
double longest_command(const PrintServer& server, std::uint16_t tcp_port, const std::vector<char>& data) {
    const host::Text name = PrintServer::name_of(kPrinting + kStalled - 1);
    const host::PortConfig config = host::port_config(name, host::to_text(printer_address(kStalled - 1)), tcp_port);
    host::PortConfig found;
    const std::function<bool()> commands[] = {
        [&] { return host::send_name(server.monitor, contract::kPortExists, name) == ERROR_ALREADY_EXISTS; },
        [&] { return host::read_config(server.monitor, name, found) == ERROR_SUCCESS; },
        [&] { return host::send_config(server.monitor, contract::kConfigPort, config) == ERROR_SUCCESS; },
    };
    std::atomic<bool> stop = false;
    std::thread printing([&] {
        const spooler_sim::ClientScope client(W("client"));
        while (!stop) server.print(0, data, kSmallDocument, kUsualWrite);
    });
    double longest = 0;
    bool answered = true;
    for (int turn = 0; turn < 10; ++turn) {
        for (const auto& command : commands) {
            longest = std::max(longest, seconds_of([&] { answered = command() && answered; }));
        }
    }
    stop = true;
    printing.join();
    require(answered, "a command was refused");
    return longest;
}

}  // namespace

void stalled_ports(Bench& bench) {
    const std::vector<char> data = buffer_of(kUsualWrite);
    const std::uint64_t size = bench.scaled(kMiB);
    const SilentPrinters printers;
    PrintServer server(bench.receiver.port(), kPrinting + kStalled);
    for (unsigned i = kPrinting; i < kPrinting + kStalled; ++i) {
        require(host::store_port(PrintServer::name_of(i), host::to_text(printer_address(i)), printers.port()),
                "no port can be stored");
    }
    server.start();
    std::filesystem::copy_file(host::path_of(host::executable_folder() + "/copy_helper.exe"),
                               host::path_of(server.folder.base + "/ts-print-monitor.exe"));
    require(testbed::write_settings_record(server.folder, host::to_utf8(kHeldPrinter)), "no record of a printer");
    spooler_sim::add_printer(kHeldPrinter);
    for (unsigned i = 0; i < plan().holding_helpers; ++i) {
        spooler_sim::add_job(kHeldPrinter, kFirstHeldJob + i, W("document"), W("client"));
    }
    double memory = 0;
    double command = 0;
    const Sample once = delivering(bench, size * kPrinting, kPrinting, [&] {
        return on_threads(kPrinting, [&](unsigned i) { server.print(i, data, size, kUsualWrite); });
    });
    // Several turns: to bring 500 ports to a halt takes ten times as long as one.
    const Sample alone = [&once] {
        Cost sum;
        for (unsigned turn = 0; turn < kTurns; ++turn) {
            const Cost cost = once();
            sum = {sum.wall + cost.wall, sum.processor + cost.processor};
        }
        return sum;
    };
    const Sample beside = [&] {
        Stalls stalls(server, printers, data);
        memory = stalls.begin();
        command = std::max(command, longest_command(server, printers.port(), data));
        return alone();
    };
    const std::string others = "500 ports beside 500 stalled ones";
    compare(bench, others + ", " + host::size_to_text(size) + " each", "500 alone", kTimeBar, beside, alone, "ms", 1e3,
            kTurns);
    bench.report.add(
        figure_row(others + ": the longest command of an administrator", "ms", command * 1e3, kCommandBar));
    bench.report.add(figure_row(others + ": memory of a stalled one", "KiB", memory, kMemoryBar));
}

}  // namespace bench
