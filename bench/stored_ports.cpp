// A server with many ports: the start of the monitor, the list of its ports, and finding one of them.
#include "bench/plan.h"
#include "bench/print_server.h"

namespace bench {
namespace {

struct Figures {
    double start;
    double enum_ports;
    double open_port;
};

constexpr DWORD kLevel = 2;
constexpr int kLeastTurns = 3;
constexpr double kMostSeconds = 5;
constexpr unsigned kPortsToOpen = 3200;
constexpr double kGrowthBar = 12;      // of ten times the ports
constexpr double kOpenPortBar = 1000;  // µs

void enum_ports(const PrintServer& server, unsigned ports, std::vector<BYTE>& buffer) {
    const host::MonitorHost& monitor = server.monitor;
    DWORD needed = 0;
    DWORD returned = 0;
    const auto ask = [&](DWORD size) {
        return monitor.table()->pfnEnumPorts(monitor.monitor(), nullptr, kLevel, buffer.data(), size, &needed,
                                             &returned) != FALSE;
    };
    // As the spooler does: how much it takes, then all of it.
    if (!ask(0)) {
        buffer.resize(needed);
        require(ask(needed), "EnumPorts failed");
    }
    require(returned == ports, "EnumPorts lists other ports than are stored");
}

// The average over all ports, each in turn: half of the names are compared.
double open_each(const PrintServer& server, unsigned ports) {
    std::vector<host::Text> names;
    for (unsigned i = 0; i < ports; ++i) names.push_back(PrintServer::name_of(i));
    const double seconds = seconds_of([&] {
        for (const host::Text& name : names) {
            HANDLE handle = nullptr;
            require(server.monitor.open_port(name, handle) && server.monitor.close_port(handle), "OpenPort failed");
        }
    });
    return seconds / ports;
}

Figures measure(Bench& bench, unsigned ports) {
    PrintServer server(bench.receiver.port(), ports);
    const int most_turns = bench.quick ? 3 : 25;
    double spent = 0;
    std::vector<double> starts;
    std::vector<double> enums;
    std::vector<double> opens;
    std::vector<BYTE> buffer;
    for (int i = 0; i < most_turns && (i < kLeastTurns || spent < kMostSeconds); ++i) {
        server.stop();
        starts.push_back(seconds_of([&] { server.start(); }));
        spent += starts.back();
        enums.push_back(seconds_of([&] { enum_ports(server, ports, buffer); }));
        if (ports == kPortsToOpen) opens.push_back(open_each(server, ports));
    }
    return {median(starts), median(enums), opens.empty() ? 0 : median(opens)};
}

}  // namespace

void stored_ports(Bench& bench) {
    const Figures none = measure(bench, 0);
    const Figures some = measure(bench, 320);
    const Figures thousand = measure(bench, 1000);
    const Figures more = measure(bench, kPortsToOpen);
    const Figures most = measure(bench, 10000);
    const auto add = [&](const std::string& name, double ours, const std::string& against, double theirs,
                         std::optional<double> bar) {
        bench.report.add(figure_row(name, "µs", ours * 1e6, bar, against, theirs * 1e6));
    };
    bench.report.add(figure_row("start without stored ports", "µs", none.start * 1e6));
    add("start with 3,200 stored ports", more.start, "320 ports", some.start, kGrowthBar);
    add("start with 10,000 stored ports", most.start, "1,000 ports", thousand.start, kGrowthBar);
    bench.report.add(figure_row("EnumPorts level 2, no ports", "µs", none.enum_ports * 1e6));
    add("EnumPorts level 2, 3,200 ports", more.enum_ports, "320 ports", some.enum_ports, {});
    bench.report.add(figure_row("OpenPort with 3,200 ports", "µs", more.open_port * 1e6, kOpenPortBar));
}

}  // namespace bench
