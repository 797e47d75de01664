// Measures the monitor against the limit and against what people use, side by side.
#include <cstdio>

#include "bench/plan.h"
#include "host/command_line/options.h"
#include "host/platform.h"
#include "host/text.h"

namespace {

constexpr const char* kUsage =
    "usage: bench --receiver DATA:CONTROL [--quick] [--only CASES] [--json FILE] [--svg FILE]\n"
    "  --receiver     the TCP ports that bench_receiver names\n"
    "  --quick        a smoke run: the same cases with a sixteenth of the data and fewer turns\n"
    "  --json FILE    the table as JSON\n"
    "  --svg FILE     throughput over the size of writes as a picture\n"
    "  --only CASES   some of these, joined with commas:";

struct Options {
    bool quick = false;
    std::string only;
    std::string json;
    std::string svg;
    std::string receiver;
};

std::string usage() {
    std::string text = kUsage;
    for (const bench::Case& one : bench::plan().cases) text += std::string(" ") + one.name;
    return text + "\n";
}

int child(const std::vector<std::string>& arguments) {
    std::uint64_t number = 0;
    std::uint64_t port = 0;
    if (!host::parse_number(arguments[2], 0, UINT64_MAX, number) || !host::parse_number(arguments[3], 1, 65535, port)) {
        return 2;
    }
    return bench::run_child(arguments[1], number, static_cast<std::uint16_t>(port));
}

int measure(const Options& options) {
    const bench::Receiver receiver(options.receiver);
    bench::Report report;
    bench::Bench bench = {receiver, report, {}, options.quick};
    if (options.quick) bench.sampling = {2, 3, 0.3};
    for (const bench::Case& one : bench::plan().cases) {
        if (!options.only.empty() && options.only.find(std::string(",") + one.name + ",") == std::string::npos)
            continue;
        report.run(one.name, [&] { one.run(bench); });
    }
    report.print_tables();
    if (!options.json.empty() && !report.write_json(options.json)) {
        std::fprintf(stderr, "bench: %s cannot be written\n", options.json.c_str());
    }
    if (!options.svg.empty() && !bench.chart.empty() && !bench::write_chart(options.svg, bench.chart)) {
        std::fprintf(stderr, "bench: %s cannot be written\n", options.svg.c_str());
    }
    return report.all_held() ? 0 : 1;
}

}  // namespace

int main(int count, char** words) {
    const host::Utf8Console console;
    const command_line::Words arguments = host::program_arguments(count, words);
    try {
        if (arguments.size() == 4 && arguments[0] == "--child") return child(arguments);
        Options options;
        const std::string usage_text = usage();
        const command_line::Program program = {
            "bench",
            usage_text.c_str(),
            {command_line::flag("--quick", options.quick), command_line::text("--only", "CASES", options.only),
             command_line::text("--json", "FILE", options.json), command_line::text("--svg", "FILE", options.svg),
             command_line::text("--receiver", "DATA:CONTROL", options.receiver)}};
        int status = 0;
        if (!command_line::operands_of(program, arguments, status)) return status;
        if (!options.only.empty()) options.only = "," + options.only + ",";
        return measure(options);
    } catch (const bench::Failed& failure) {
        std::fprintf(stderr, "bench: %s\n", failure.what());
        return 1;
    }
}
