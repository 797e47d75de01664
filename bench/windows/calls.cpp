// What is counted of a document.
#include "bench/plan.h"
#include "bench/print_server.h"
#include "bench/windows/imports.h"

namespace bench {
namespace {

void add_calls(Bench& bench, const std::string& name, unsigned times, const std::function<void()>& work) {
    const Calls before = counted_calls();
    for (unsigned i = 0; i < times; ++i) work();
    Calls calls = counted_calls();
    Row row = {.name = name, .unit = "calls"};
    for (auto& [function, count] : calls) {
        count = (count - before.at(function)) / times;
        row.ours += count;
    }
    row.note = calls_to_text(calls);
    bench.report.add(row);
}

}  // namespace

void memory_of_ports(Bench& bench) {
    bench.report.add(figure_row("memory per further port and document, 64 to 1,000 ports", "KiB",
                                memory_of_a_port(bench.receiver.port()), 32));
}

void windows_calls(Bench& bench) {
    constexpr unsigned kTimes = 100;
    const std::vector<char> data = buffer_of(kUsualWrite);
    const spooler_sim::ClientScope client(W("client"));
    for (const bool debug : {false, true}) {
        PrintServer server(bench.receiver.port(), 1);
        server.start(debug ? std::vector<std::string>{"Debug=on"} : std::vector<std::string>{});
        const std::string setting = debug ? ", Debug=on" : ", logging off";
        server.print(0, data, kSmallDocument, kUsualWrite);
        count_calls();
        add_calls(bench, "Windows calls of a 100 KiB document" + setting, kTimes,
                  [&] { server.print(0, data, kSmallDocument, kUsualWrite); });
        const HANDLE handle = server.begin(0);
        // The first ones of a document are noted one by one.
        for (unsigned i = 0; i < 20; ++i) server.write(handle, data.data(), data.size());
        add_calls(bench, "Windows calls of a WritePort" + setting, kTimes,
                  [&] { server.write(handle, data.data(), data.size()); });
        server.end(handle);
    }
}

}  // namespace bench
