// Bringing many ports to a server.
#include <filesystem>
#include <sstream>

#include "bench/plan.h"
#include "bench/print_server.h"
#include "host/platform.h"
#include "tsport/run.h"

namespace bench {
namespace {

// tsport import over an empty store, from the start of the program's work to its end.
double import_ports(Bench& bench, unsigned ports) {
    std::string file;
    for (unsigned i = 0; i < ports; ++i) file += '"' + host::to_utf8(PrintServer::name_of(i)) + "\" 10.0.0.1 9100\n";
    const std::string folder = host::make_temporary_folder();
    const std::string store = folder + "/store";
    host::clear_registry();  // no service is installed that a hosted monitor could disturb
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

void import(Bench& bench) {
    const double imported = import_ports(bench, 3200);
    bench.report.add(figure_row("tsport import of 3,200 ports", "µs", imported * 1e6, 12, "320 ports",
                                import_ports(bench, 320) * 1e6));
}

}  // namespace bench
