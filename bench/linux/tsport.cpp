// Many ports by tsport.
#include <sys/socket.h>

#include <filesystem>
#include <sstream>

#include "bench/plain.h"
#include "bench/plan.h"
#include "bench/print_server.h"
#include "host/platform.h"
#include "tsport/run.h"

namespace bench {
namespace {

constexpr unsigned kPorts = 3200;
constexpr double kListBar = 2;     // seconds
constexpr int kTimeout = 1;        // seconds that a silent printer is waited for,
constexpr double kTestBar = 3;     // and that the test of all of them may take
constexpr double kGrowthBar = 12;  // of ten times the ports

// Runs tsport over a store with an input; seconds.
double run(const std::string& store, const std::vector<std::string>& words, const std::string& text, int status) {
    std::vector<std::string> arguments = {"--store", store};
    arguments.insert(arguments.end(), words.begin(), words.end());
    std::istringstream input(text);
    return seconds_of([&] {
        const tsport::Answer answer = tsport::run(arguments, {.input = input, .output = [](std::string_view) {}});
        require(answer.status == status, "tsport " + words[0] + " failed: " + answer.err);
    });
}

// An import over an empty store, from the start of the program's work to its end.
double import_ports(const std::string& store, unsigned ports, std::uint16_t tcp_port) {
    std::string file;
    for (unsigned i = 0; i < ports; ++i) {
        file += '"' + host::to_utf8(PrintServer::name_of(i)) + "\" " + printer_address(i) + " " +
                std::to_string(tcp_port) + "\n";
    }
    host::clear_registry();  // no service is installed that a hosted monitor could disturb
    std::vector<double> times;
    for (int i = 0; i < 3; ++i) {
        std::filesystem::remove(store);
        times.push_back(run(store, {"import", "-"}, file, tsport::done));
    }
    return median(times);
}

// Tests all ports of a store that lead to a TCP port; its queue of connections is full, so that nobody gets an answer.
double test_silent_ports(const std::string& store) {
    namespace net = test_printer::net;
    std::string why;
    const net::Socket listener = net::bind_to("0.0.0.0", 0, why);
    require(listener != net::no_socket && ::listen(static_cast<int>(listener), 0) == 0, "no silent printer");
    const net::Socket first = net::connect_to("127.0.0.1", net::bound_port(listener));
    import_ports(store, kPorts, net::bound_port(listener));
    const double seconds = run(store, {"test", "--all", "--timeout", std::to_string(kTimeout)}, "", tsport::not_there);
    net::close_socket(first);
    net::close_socket(listener);
    return seconds;
}

}  // namespace

void ports_by_tsport(Bench& bench) {
    const std::string folder = host::make_temporary_folder();
    const std::string store = folder + "/store";
    const double few = import_ports(store, kPorts / 10, 9100);
    const double imported = import_ports(store, kPorts, 9100);
    bench.report.add(
        figure_row("tsport import of 3,200 ports", "ms", imported * 1e3, kGrowthBar, "320 ports", few * 1e3));
    bench.report.add(figure_row("tsport list, 3,200 ports", "s", run(store, {"list"}, "", tsport::done), kListBar));
    bench.report.add(
        figure_row("tsport test, 3,200 silent printers, time-out 1 s", "s", test_silent_ports(store), kTestBar));
    std::filesystem::remove_all(folder);
}

}  // namespace bench
