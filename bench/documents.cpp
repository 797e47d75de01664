// Whole documents through the library, against the plain loop.
#include <fstream>
#include <thread>

#include "bench/plain.h"
#include "bench/plan.h"
#include "bench/prescribed.h"
#include "bench/print_server.h"
#include "host/platform.h"
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

void write_document(const std::string& path, const std::vector<char>& data, std::uint64_t size) {
    std::ofstream file(host::path_of(path), std::ios::binary);
    for (std::uint64_t done = 0; done < size; done += data.size()) {
        file.write(data.data(), static_cast<std::streamsize>(std::min<std::uint64_t>(data.size(), size - done)));
    }
    require(static_cast<bool>(file.flush()), "no room for the document's file");
}

Sample delivering(const Bench& bench, std::uint64_t bytes, std::uint64_t connections, const Sample& sample) {
    return [&bench, bytes, connections, sample] {
        bench.receiver.expect();
        const Cost cost = sample();
        bench.receiver.check(bytes, connections);
        return cost;
    };
}

Sample timed(const std::function<void()>& work) {
    return [work] { return cost_of(work); };
}

Measured compare(Bench& bench, const std::string& name, const std::string& against, std::optional<double> bar,
                 const Sample& ours, const Sample& theirs, const std::string& unit, double factor, double parts) {
    const Measured pairs = run_pairs(bench.sampling, bar, ours, theirs);
    bench.report.add(pair_row(name, against, pairs, bar, unit, factor, parts));
    return pairs;
}

void Gate::arrive() {
    const std::lock_guard lock(mutex_);
    if (--missing_ == 0) opened_.notify_all();
}

void Gate::wait() {
    std::unique_lock lock(mutex_);
    opened_.wait(lock, [this] { return missing_ == 0; });
}

Cost on_threads(unsigned threads, const std::function<void(unsigned)>& work) {
    Gate all_there(threads + 1);
    std::vector<std::string> failures(threads);
    std::vector<std::thread> running;
    for (unsigned i = 0; i < threads; ++i) {
        running.emplace_back([&, i] {
            const spooler_sim::ClientScope client(W("client"));
            all_there.arrive();
            all_there.wait();
            try {
                work(i);
            } catch (const Failed& failure) {
                failures[i] = failure.what();
            }
        });
    }
    const Cost cost = cost_of([&] {
        all_there.arrive();
        for (std::thread& thread : running) thread.join();
    });
    for (const std::string& failure : failures) require(failure.empty(), failure);
    return cost;
}

void large_documents(Bench& bench) {
    struct LargeDocument {
        std::uint64_t size;
        size_t write_size;
        std::optional<double> bar;
    };
    constexpr LargeDocument kLarge[] = {{256 * kMiB, 4 * kKiB, 1.05}, {kGiB, 64 * kKiB, 1.03}, {kGiB, kMiB, {}}};
    PrintServer server(bench.receiver.port(), 1);
    server.start();
    const spooler_sim::ClientScope client(W("client"));
    Series ours = {"this monitor", "#c0392b", {}};
    Series plain = {kPlain, "#2c3e50", {}};
    for (const LargeDocument& document : kLarge) {
        const std::uint64_t size = bench.scaled(document.size);
        const size_t write_size = document.write_size;
        const std::vector<char> data = buffer_of(write_size);
        const auto print = [&] { server.print(0, data, size, write_size); };
        const auto send = [&] { send_plainly(0, bench.receiver.port(), data, size, write_size); };
        const Pairs pairs =
            compare(bench, host::size_to_text(size) + " document, " + host::size_to_text(write_size) + " writes",
                    kPlain, document.bar, delivering(bench, size, 1, timed(print)),
                    delivering(bench, size, 1, timed(send)))
                .wall;
        ours.points.push_back({static_cast<double>(write_size), rate(size, median(pairs.first))});
        plain.points.push_back({static_cast<double>(write_size), rate(size, median(pairs.second))});
    }
    bench.chart = {ours, plain};
}

void small_documents(Bench& bench) {
    constexpr double kBar = 1.05;
    const auto count = static_cast<unsigned>(bench.scaled(plan().small_documents));
    const std::string documents = std::to_string(count) + " documents of 100 KiB, ";
    const std::vector<char> data = buffer_of(kUsualWrite);
    PrintServer server(bench.receiver.port(), kBusyPrinters);
    server.start();
    Prescribed limit(server, bench.receiver.port(), kBusyPrinters);
    const spooler_sim::ClientScope client(W("client"));
    const auto sample = [&](const std::function<void(unsigned)>& print, const std::vector<std::string>& settings) {
        return delivering(bench, kSmallDocument * count, count, [&, print, settings] {
            server.start(settings);
            return cost_of([&] {
                for (unsigned i = 0; i < count; ++i) print(i % kBusyPrinters);
            });
        });
    };
    const auto print = [&](unsigned port) { server.print(port, data, kSmallDocument, kUsualWrite); };
    const auto add = [&](const std::string& name, const std::string& against, std::optional<double> bar,
                         const Sample& ours, const Sample& theirs) {
        compare(bench, documents + name, against, bar, ours, theirs, "µs each", 1e6, count);
    };
    const Sample off = sample(print, {});
    add("logging off", kPrescribed, kBar, off,
        sample([&](unsigned port) { limit.print(port, data, kSmallDocument, kUsualWrite); }, {}));
    add("logging off", kPlain, {}, off,
        sample([&](unsigned port) { send_plainly(port, bench.receiver.port(), data, kSmallDocument, kUsualWrite); },
               {}));
    add("Debug=on", "logging off", {}, sample(print, {"Debug=on"}), off);
}

bool repeat_documents(const std::string& name, std::uint64_t count, std::uint16_t port) {
    if (name != "documents" && name != "debug" && name != "prescribed") return false;
    const std::vector<char> data = buffer_of(kUsualWrite);
    PrintServer server(port, kBusyPrinters);
    server.start(name == "debug" ? std::vector<std::string>{"Debug=on"} : std::vector<std::string>{});
    const spooler_sim::ClientScope client(W("client"));
    Prescribed limit(server, port, kBusyPrinters);
    for (unsigned i = 0; i < count; ++i) {
        if (name == "prescribed") {
            limit.print(i % kBusyPrinters, data, kSmallDocument, kUsualWrite);
        } else {
            server.print(i % kBusyPrinters, data, kSmallDocument, kUsualWrite);
        }
    }
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
    Prescribed limit(server, bench.receiver.port(), kManyPorts);
    for (const auto& [ports, bar] : {std::pair(64u, 1.05), std::pair(kManyPorts, 1.1)}) {
        const std::uint64_t size = bench.scaled(kGiB) / ports;
        const auto each = [&bench, ports, size](const std::function<void(unsigned)>& print) {
            return delivering(bench, size * ports, ports, [ports, print] { return on_threads(ports, print); });
        };
        const std::string name = std::to_string(ports) + " ports at once, " + host::size_to_text(size) + " each";
        const Sample ours = each([&](unsigned i) { server.print(i, data, size, kUsualWrite); });
        compare(bench, name, kPrescribed, bar, ours,
                each([&](unsigned i) { limit.print(i, data, size, kUsualWrite); }));
        compare(bench, name, kPlain, {}, ours,
                each([&](unsigned i) { send_plainly(i, bench.receiver.port(), data, size, kUsualWrite); }));
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
        for (const unsigned ports : {64u, kManyPorts}) {
            PrintServer server(bench.receiver.port(), ports);
            server.start(debug ? std::vector<std::string>{"Debug=on"} : std::vector<std::string>{});
            const unsigned each = std::max(static_cast<unsigned>(bench.scaled(2000)) / ports, 1u);
            const unsigned documents = each * ports;
            watch_locks(server.monitor);
            const LockUses before = lock_uses();
            bench.receiver.expect();
            const double seconds = on_threads(ports, [&](unsigned i) {
                                       for (unsigned n = 0; n < each; ++n)
                                           server.print(i, data, kSmallDocument, kUsualWrite);
                                   }).wall;
            bench.receiver.check(kSmallDocument * documents, documents);
            const LockUses after = lock_uses();
            const LockUse monitor = between(before.monitor, after.monitor);
            const LockUse log = between(before.log, after.log);
            char note[160];
            std::snprintf(note, sizeof note,
                          "%.2g %% of its entries; for the log lock %.3g µs, %.2g %%; the document takes %.3g ms",
                          percent(monitor), log.seconds * 1e6 / documents, percent(log), seconds * 1e3 / each);
            bench.report.add({.name = std::to_string(ports) + " ports at once" +
                                      (debug ? ", Debug=on" : ", logging off") + ": a document waits for MonitorLock",
                              .unit = "µs",
                              .ours = monitor.seconds * 1e6 / documents,
                              .note = note});
        }
    }
}

}  // namespace bench
