// Whole documents through the library, against the plain loop and the peer.
#include <barrier>
#include <fstream>
#include <thread>

#include "bench/bench.h"
#include "bench/others.h"
#include "bench/print_server.h"
#include "tools/peer/pattern.h"

namespace bench {
namespace {

constexpr const char* kPlain = "plain loop";
constexpr const char* kPeer = "cups backend";
constexpr size_t kUsualWrite = 64 * kKiB;
constexpr std::uint64_t kSmallDocument = 100 * kKiB;
constexpr unsigned kBusyPrinters = 4;  // that take turns with small documents

// A sample that has to bring so many bytes in so many connections to the receiver.
Sample delivering(Bench& bench, std::uint64_t bytes, std::uint64_t connections, const Sample& sample) {
    return [&bench, bytes, connections, sample] {
        bench.receiver.expect();
        const double seconds = sample();
        bench.receiver.check(bytes, connections);
        return seconds;
    };
}

Sample timed(const std::function<void()>& work) {
    return [work] { return seconds_of(work); };
}

double rate(std::uint64_t bytes, double seconds) {
    return static_cast<double>(bytes) / static_cast<double>(kGiB) / seconds;
}

std::string write_document(const PrintServer& server, std::uint64_t size) {
    const std::string path = server.folder.base + "/document";
    std::ofstream file(path, std::ios::binary);
    const std::vector<char> data = buffer_of(kUsualWrite);
    for (std::uint64_t done = 0; done < size; done += data.size()) {
        file.write(data.data(), static_cast<std::streamsize>(std::min<std::uint64_t>(data.size(), size - done)));
    }
    require(static_cast<bool>(file.flush()), "no room for the document's file");
    return path;
}

void against_peer(Bench& bench, const PrintServer& server, const std::string& name, std::uint64_t size, unsigned count,
                  std::optional<double> bar, Series* level) {
    if (!has_cups_backend()) return bench.report.add(skipped_row(name, "skipped: package cups is not installed"));
    const std::string file = write_document(server, size);
    const std::uint16_t port = bench.receiver.port();
    std::vector<char> buffer(kUsualWrite);
    const auto ours = [&] {
        for (unsigned i = 0; i < count; ++i) server.print_file(file, buffer);
    };
    const auto theirs = [&] {
        for (unsigned i = 0; i < count; ++i) send_by_cups(port, file);
    };
    const Pairs pairs = run_pairs(bench.effort, delivering(bench, size * count, count, timed(ours)),
                                  delivering(bench, size * count, count, timed(theirs)));
    bench.report.add(pair_row(name, kPeer, pairs, bar, "ms", 1e3, count));
    if (level != nullptr) level->points.push_back({0, rate(size, pairs.second_median())});
}

}  // namespace

std::vector<char> buffer_of(size_t size) {
    std::vector<char> data(size);
    peer::Pattern().fill(data.data(), data.size());
    return data;
}

void large_documents(Bench& bench) {
    const std::uint64_t size = bench.scaled(kGiB);
    const std::string document = host::size_in_words(size) + " document, ";
    PrintServer server(bench.receiver.port(), 1);
    server.start();
    const spooler_sim::ClientScope client(W("client"));
    Series ours = {"this monitor", "#c0392b", {}};
    Series plain = {kPlain, "#2c3e50", {}};
    Series peer = {kPeer, "#2980b9", {}};
    for (const size_t write_size : {4 * kKiB, 16 * kKiB, 64 * kKiB, 256 * kKiB, kMiB}) {
        const std::vector<char> data = buffer_of(write_size);
        const auto print = [&] { server.print(0, data, size, write_size); };
        const auto send = [&] { send_plainly(0, bench.receiver.port(), data, size, write_size); };
        const std::optional<double> bar = write_size == kUsualWrite ? std::optional(1.03) : std::nullopt;
        const Pairs pairs =
            run_pairs(bar ? bench.effort.close() : bench.effort, delivering(bench, size, 1, timed(print)),
                      delivering(bench, size, 1, timed(send)));
        bench.report.add(pair_row(document + host::size_in_words(write_size) + " writes", kPlain, pairs, bar));
        ours.points.push_back({static_cast<double>(write_size), rate(size, pairs.first_median())});
        plain.points.push_back({static_cast<double>(write_size), rate(size, pairs.second_median())});
    }
    against_peer(bench, server, document + "64.0 KiB writes, from a file", size, 1, 0.5, &peer);
    bench.chart = {ours, plain, peer};
}

void small_documents(Bench& bench) {
    const auto count = static_cast<unsigned>(bench.scaled(2000));
    const std::string documents = std::to_string(count) + " documents of 100 KiB, ";
    const std::vector<char> data = buffer_of(kUsualWrite);
    PrintServer server(bench.receiver.port(), kBusyPrinters);
    const spooler_sim::ClientScope client(W("client"));
    const auto print = [&] {
        for (unsigned i = 0; i < count; ++i) server.print(i % kBusyPrinters, data, kSmallDocument, kUsualWrite);
    };
    const auto print_with = [&](const std::vector<std::string>& settings) {
        return delivering(bench, kSmallDocument * count, count, [&, settings] {
            server.start(settings);
            return seconds_of(print);
        });
    };
    const Sample off = print_with({});
    const Sample on = print_with({"Debug=on"});
    const Sample plain =
        delivering(bench, kSmallDocument * count, count, timed([&] {
                       for (unsigned i = 0; i < count; ++i) {
                           send_plainly(i % kBusyPrinters, bench.receiver.port(), data, kSmallDocument, kUsualWrite);
                       }
                   }));
    const auto add = [&](const std::string& name, const std::string& against, const Pairs& pairs,
                         std::optional<double> bar) {
        bench.report.add(pair_row(documents + name, against, pairs, bar, "µs each", 1e6, count));
    };
    add("logging off", kPlain, run_pairs(bench.effort.close(), off, plain), 1.25);
    add("Debug=on", "logging off", run_pairs(bench.effort, on, off), 3);
    add("Debug=on", kPlain, run_pairs(bench.effort, on, plain), {});
    server.start();
    const unsigned fewer = count / 10;
    against_peer(bench, server, std::to_string(fewer) + " documents of 100 KiB, from a file", kSmallDocument, fewer, {},
                 nullptr);
    // The data of so short a document does not occupy a printer that only drops it: it falls asleep between any
    // two steps, and waking it is part of the next.
    bench.receiver.take_by(Taking::dropping);
    add("logging off, dropped unread", kPlain, run_pairs(bench.effort, off, plain), {});
}

namespace {

// Seconds that `threads` threads take, from the moment when all of them are there. What goes wrong in one fails all.
double at_once(unsigned threads, const std::function<void(unsigned)>& work) {
    std::barrier begin(static_cast<std::ptrdiff_t>(threads) + 1);
    std::vector<std::string> failures(threads);
    std::vector<std::thread> running;
    for (unsigned i = 0; i < threads; ++i) {
        running.emplace_back([&, i] {
            const spooler_sim::ClientScope client(W("client"));
            begin.arrive_and_wait();
            try {
                work(i);
            } catch (const Failed& failure) {
                failures[i] = failure.what();
            }
        });
    }
    const double seconds = seconds_of([&] {
        begin.arrive_and_wait();
        for (std::thread& thread : running) thread.join();
    });
    for (const std::string& failure : failures) require(failure.empty(), failure);
    return seconds;
}

}  // namespace

void ports_at_once(Bench& bench) {
    const std::vector<char> data = buffer_of(kUsualWrite);
    PrintServer server(bench.receiver.port(), kPrinters);
    server.start();
    for (const unsigned ports : {1u, 8u, 64u}) {
        const std::uint64_t size = bench.scaled(kGiB) / ports;
        const Sample ours = [&, ports, size] {
            return at_once(ports, [&](unsigned i) { server.print(i, data, size, kUsualWrite); });
        };
        const Sample plain = [&, ports, size] {
            return at_once(ports, [&](unsigned i) { send_plainly(i, bench.receiver.port(), data, size, kUsualWrite); });
        };
        const std::string name =
            std::to_string(ports) + (ports == 1 ? " port, " : " ports at once, ") + host::size_in_words(size) + " each";
        const Pairs pairs =
            run_pairs(bench.effort.of(ports == 64 ? 2 : 1), delivering(bench, size * ports, ports, ours),
                      delivering(bench, size * ports, ports, plain));
        bench.report.add(pair_row(name, kPlain, pairs, ports == 64 ? std::optional(1.05) : std::nullopt));
    }
}

}  // namespace bench
