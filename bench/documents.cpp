// Whole documents through the library, against the plain loop.
#include <latch>
#include <thread>

#include "bench/plan.h"
#include "bench/print_server.h"
#include "testbed/test_printer/pattern.h"

namespace bench {
namespace {

constexpr unsigned kBusyPrinters = 4;  // that take turns with small documents
constexpr unsigned kManyPorts = 1000;

double rate(std::uint64_t bytes, double seconds) {
    return static_cast<double>(bytes) / static_cast<double>(kGiB) / seconds;
}

}  // namespace

std::vector<char> buffer_of(size_t size) {
    std::vector<char> data(size);
    test_printer::Pattern().fill(data.data(), data.size());
    return data;
}

Sample delivering(const Bench& bench, std::uint64_t bytes, std::uint64_t connections, const Sample& sample) {
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

Pairs compare(Bench& bench, const SamplingPlan& sampling, const std::string& name, const std::string& against,
              std::optional<double> bar, const Sample& ours, const Sample& theirs, const std::string& unit,
              double factor, double parts) {
    const Pairs pairs = run_pairs(sampling, bar, ours, theirs);
    bench.report.add(pair_row(name, against, pairs, bar, unit, factor, parts));
    return pairs;
}

double on_threads(unsigned threads, const std::function<void(unsigned)>& work) {
    std::latch all_there(threads + 1);
    std::vector<std::string> failures(threads);
    std::vector<std::thread> running;
    for (unsigned i = 0; i < threads; ++i) {
        running.emplace_back([&, i] {
            const spooler_sim::ClientScope client(W("client"));
            all_there.arrive_and_wait();
            try {
                work(i);
            } catch (const Failed& failure) {
                failures[i] = failure.what();
            }
        });
    }
    const double seconds = seconds_of([&] {
        all_there.arrive_and_wait();
        for (std::thread& thread : running) thread.join();
    });
    for (const std::string& failure : failures) require(failure.empty(), failure);
    return seconds;
}

void large_documents(Bench& bench) {
    PrintServer server(bench.receiver.port(), 1);
    server.start();
    const spooler_sim::ClientScope client(W("client"));
    Series ours = {"this monitor", "#c0392b", {}};
    Series plain = {kPlain, "#2c3e50", {}};
    for (const LargeDocument& document : plan().large) {
        const std::uint64_t size = bench.scaled(document.size);
        const size_t write_size = document.write_size;
        const std::vector<char> data = buffer_of(write_size);
        const auto print = [&] { server.print(0, data, size, write_size); };
        const auto send = [&] { send_plainly(0, bench.receiver.port(), data, size, write_size); };
        const Pairs pairs =
            compare(bench, bench.sampling,
                    host::size_to_text(size) + " document, " + host::size_to_text(write_size) + " writes", kPlain,
                    document.bar, delivering(bench, size, 1, timed(print)), delivering(bench, size, 1, timed(send)));
        ours.points.push_back({static_cast<double>(write_size), rate(size, pairs.first_median())});
        plain.points.push_back({static_cast<double>(write_size), rate(size, pairs.second_median())});
    }
    bench.chart = {ours, plain};
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
    const auto add = [&](const std::string& name, const std::string& against, std::optional<double> bar,
                         const Sample& ours, const Sample& theirs) {
        compare(bench, bench.sampling, documents + name, against, bar, ours, theirs, "µs each", 1e6, count);
    };
    add("logging off", kPlain, plan().small_off, off, plain);
    add("Debug=on", "logging off", plan().small_debug, on, off);
    add("Debug=on", kPlain, {}, on, plain);
    if (!plan().is_dropping_worth_a_row) return;
    // The data of so short a document does not occupy a printer that only drops it: that one falls asleep between any
    // two steps, and waking it is part of the next.
    bench.receiver.take_by(Taking::dropping);
    add("logging off, dropped unread", kPlain, {}, off, plain);
}

bool repeat_documents(const std::string& name, std::uint64_t count, std::uint16_t port) {
    const std::vector<char> data = buffer_of(kUsualWrite);
    if (name == "plain") {
        for (unsigned i = 0; i < count; ++i) send_plainly(i, port, data, kSmallDocument, kUsualWrite);
        return true;
    }
    if (name != "documents" && name != "debug") return false;
    PrintServer server(port, kPrinters);
    server.start(name == "debug" ? std::vector<std::string>{"Debug=on"} : std::vector<std::string>{});
    const spooler_sim::ClientScope client(W("client"));
    for (unsigned i = 0; i < count; ++i) server.print(i % kPrinters, data, kSmallDocument, kUsualWrite);
    return true;
}

// -- Many ports ------------------------------------------------------------------------------------------------------

namespace {

// Mid-document on that many ports. All by one thread: the threads are the spooler's.
double memory_mid_document(const PrintServer& server, unsigned ports) {
    const spooler_sim::ClientScope client(W("client"));
    const std::vector<char> data = buffer_of(kUsualWrite);
    std::vector<HANDLE> handles;
    for (unsigned i = 0; i < ports; ++i) {
        handles.push_back(server.begin(i));
        for (int writes = 0; writes < 4; ++writes) server.write(handles.back(), data.data(), data.size());
    }
    const double memory = resident_kib();
    for (const HANDLE handle : handles) server.end(handle);
    return memory;
}

}  // namespace

void ports_at_once(Bench& bench) {
    const std::vector<char> data = buffer_of(kUsualWrite);
    PrintServer server(bench.receiver.port(), kManyPorts);
    server.start();
    for (const unsigned ports : {1u, 8u, 64u, kManyPorts}) {
        const std::uint64_t size = bench.scaled(kGiB) / ports;
        const Sample ours = [&, ports, size] {
            return on_threads(ports, [&](unsigned i) { server.print(i, data, size, kUsualWrite); });
        };
        const Sample plain = [&, ports, size] {
            return on_threads(ports,
                              [&](unsigned i) { send_plainly(i, bench.receiver.port(), data, size, kUsualWrite); });
        };
        const std::string name =
            std::to_string(ports) + (ports == 1 ? " port, " : " ports at once, ") + host::size_to_text(size) + " each";
        const std::optional<double> bar = ports == 64           ? plan().port_64
                                          : ports == kManyPorts ? plan().port_1000
                                                                : std::nullopt;
        compare(bench, bench.sampling, name, kPlain, bar, delivering(bench, size * ports, ports, ours),
                delivering(bench, size * ports, ports, plain));
    }
}

double memory_of_a_port(std::uint16_t port) {
    constexpr unsigned kFew = 64;
    std::vector<double> memory;
    for (const unsigned ports : {kFew, kManyPorts}) {
        PrintServer server(port, ports);
        server.start();
        memory.push_back(memory_mid_document(server, ports));
    }
    return (memory[1] - memory[0]) / (kManyPorts - kFew);
}

namespace {

LockUse between(const LockUse& before, const LockUse& after) {
    return {after.entered - before.entered, after.waited - before.waited, after.seconds - before.seconds};
}

double percent(const LockUse& use) {
    return use.entered > 0 ? static_cast<double>(use.waited) * 100 / static_cast<double>(use.entered) : 0;
}

}  // namespace

// How long the threads of ports wait for one another.
void lock_waits(Bench& bench) {
    const std::vector<char> data = buffer_of(kUsualWrite);
    for (const bool debug : {false, true}) {
        for (const unsigned ports : {1u, 64u, kManyPorts}) {
            PrintServer server(bench.receiver.port(), ports);
            server.start(debug ? std::vector<std::string>{"Debug=on"} : std::vector<std::string>{});
            const unsigned each = std::max(static_cast<unsigned>(bench.scaled(2000)) / ports, 1u);
            const unsigned documents = each * ports;
            watch_locks(server.monitor);
            const LockUses before = lock_uses();
            bench.receiver.expect();
            const double seconds = on_threads(ports, [&](unsigned i) {
                for (unsigned n = 0; n < each; ++n) server.print(i, data, kSmallDocument, kUsualWrite);
            });
            bench.receiver.check(kSmallDocument * documents, documents);
            const LockUses after = lock_uses();
            const LockUse monitor = between(before.monitor, after.monitor);
            const LockUse log = between(before.log, after.log);
            char note[160];
            std::snprintf(note, sizeof note,
                          "%.2g %% of its entries; for the log lock %.3g µs, %.2g %%; the document takes %.3g ms",
                          percent(monitor), log.seconds * 1e6 / documents, percent(log), seconds * 1e3 / each);
            Row row = figure_row(std::to_string(ports) + (ports == 1 ? " port" : " ports at once") +
                                     (debug ? ", Debug=on" : ", logging off") + ": a document waits for MonitorLock",
                                 "µs", monitor.seconds * 1e6 / documents);
            row.note = note;
            bench.report.add(row);
        }
    }
}

}  // namespace bench
