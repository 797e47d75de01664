// A server with many ports: the start of the monitor, the list of its ports, finding one of them, and bringing them
// there.
#include <filesystem>
#include <map>
#include <sstream>

#include "bench/bench.h"
#include "bench/print_server.h"
#include "tools/tsport/run.h"
#include "winapi/linux/control.h"

namespace bench {
namespace {

struct Figures {
    double start;
    double enum_ports;
    double open_port;
};

constexpr DWORD kLevel = 2;

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

// The average over all ports.
double open_each(const PrintServer& server, unsigned ports) {
    std::vector<host::Text> names;
    for (unsigned i = 0; i < ports; ++i) names.push_back(PrintServer::name_of(i));
    const double seconds = seconds_of([&] {
        for (const host::Text& name : names) {
            HANDLE handle = nullptr;
            require(server.monitor.open_port(name, handle) && server.monitor.close_port(handle), "OpenPort failed");
        }
    });
    return ports > 0 ? seconds / ports : 0;
}

Figures measure(Bench& bench, unsigned ports) {
    PrintServer server(bench.receiver.port(), ports);
    const int turns = bench.quick ? 5 : 25;
    std::vector<double> starts;
    std::vector<double> enums;
    std::vector<double> opens;
    std::vector<BYTE> buffer;
    for (int i = 0; i < turns; ++i) {
        server.stop();
        starts.push_back(seconds_of([&] { server.start(); }));
        enums.push_back(seconds_of([&] { enum_ports(server, ports, buffer); }));
        opens.push_back(open_each(server, ports));
    }
    return {median(starts), median(enums), median(opens)};
}

// tsport import over an empty store, from the start of the program's work to its end.
double import_ports(Bench& bench, unsigned ports) {
    std::string file;
    for (unsigned i = 0; i < ports; ++i) file += '"' + host::to_utf8(PrintServer::name_of(i)) + "\" 10.0.0.1 9100\n";
    const std::string folder = host::make_temporary_folder();
    const std::string store = folder + "/store";
    winapi::clear_registry();  // no service is installed that a hosted monitor could disturb
    std::vector<double> times;
    for (int i = 0; i < (bench.quick ? 3 : 11); ++i) {
        std::istringstream input(file);
        std::filesystem::remove(store);
        times.push_back(seconds_of([&] {
            require(tsport::run({"--store", store, "import", "-"}, {input}).status == tsport::done, "import failed");
        }));
    }
    std::filesystem::remove_all(folder);
    return median(times);
}

}  // namespace

void stored_ports(Bench& bench) {
    const Figures none = measure(bench, 0);
    const Figures some = measure(bench, 320);
    const Figures many = measure(bench, 3200);
    bench.report.add(figure_row("start without stored ports", "µs", none.start * 1e6));
    bench.report.add(
        figure_row("start with 3,200 stored ports", "µs", many.start * 1e6, 12, "320 ports", some.start * 1e6));
    bench.report.add(figure_row("EnumPorts level 2, 3,200 ports", "µs", many.enum_ports * 1e6, 12, "320 ports",
                                some.enum_ports * 1e6));
    bench.report.add(figure_row("OpenPort and ClosePort, 3,200 ports", "µs", many.open_port * 1e6, {}, "320 ports",
                                some.open_port * 1e6));
    const double imported = import_ports(bench, 3200);
    bench.report.add(figure_row("tsport import of 3,200 ports", "µs", imported * 1e6, 12, "320 ports",
                                import_ports(bench, 320) * 1e6));
    bench.report.add(figure_row("EnumPorts level 2, no ports", "µs", none.enum_ports * 1e6));
}

}  // namespace bench
