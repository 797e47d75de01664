// Many ports by tsport.
#include <filesystem>
#include <sstream>

#include "bench/plan.h"
#include "bench/print_server.h"
#include "host/platform.h"
#include "tsport/run.h"

namespace bench {
namespace {

constexpr unsigned kPorts = 3200;
constexpr double kListBar = 2;     // seconds
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

}  // namespace

void ports_by_tsport(Bench& bench) {
    const std::string folder = host::make_temporary_folder();
    const std::string store = folder + "/store";
    const double few = import_ports(store, kPorts / 10, 9100);
    const double imported = import_ports(store, kPorts, 9100);
    bench.report.add(
        figure_row("tsport import of 3,200 ports", "ms", imported * 1e3, kGrowthBar, "320 ports", few * 1e3));
    bench.report.add(figure_row("tsport list, 3,200 ports", "s", run(store, {"list"}, "", tsport::done), kListBar));
    std::filesystem::remove_all(folder);
}

}  // namespace bench
