// Measures the monitor against the limit and against what people use, side by side.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/bench.h"
#include "tools/command_line/options.h"
#include "tools/host/platform.h"
#include "tools/host/text.h"

namespace {

constexpr const char* kUsage =
    "usage: bench [--quick] [--only CASES] [--json FILE] [--svg FILE]\n"
    "  --quick        a smoke run: the same cases with a sixteenth of the data and fewer turns\n"
    "  --only CASES   of large small ports log forced stored memory allocations calls report, joined with commas\n"
    "  --json FILE    the table as JSON\n"
    "  --svg FILE     throughput over the size of writes as a picture\n";

struct Options {
    bool quick = false;
    std::string only;
    std::string json;
    std::string svg;
};

struct Case {
    const char* name;
    void (*run)(bench::Bench&);
};

constexpr Case kCases[] = {
    {"large", bench::large_documents}, {"small", bench::small_documents},    {"ports", bench::ports_at_once},
    {"log", bench::log_lines},         {"forced", bench::forced_attributes}, {"stored", bench::stored_ports},
    {"memory", bench::memory},         {"allocations", bench::allocations},  {"calls", bench::system_calls},
    {"report", bench::reports},
};

int child(char** arguments) {
    std::uint64_t number = 0;
    std::uint64_t port = 0;
    if (!host::parse_number(arguments[3], 0, UINT64_MAX, number) || !host::parse_number(arguments[4], 1, 65535, port)) {
        return 2;
    }
    return bench::run_child(arguments[2], number, static_cast<std::uint16_t>(port));
}

int measure(const Options& options) {
    bench::Receiver receiver;
    bench::Report report;
    bench::Bench bench = {receiver, report, {}, options.quick};
    if (options.quick) bench.effort = {2, 3, 0.5};
    for (const Case& one : kCases) {
        if (!options.only.empty() && options.only.find(std::string(",") + one.name + ",") == std::string::npos)
            continue;
        receiver.take_by(bench::Taking::reading);
        report.run(one.name, [&] { one.run(bench); });
    }
    std::printf("\n");
    report.print_table();
    if (!options.json.empty() && !report.write_json(options.json)) {
        std::fprintf(stderr, "bench: %s cannot be written\n", options.json.c_str());
    }
    if (!options.svg.empty() && !bench.chart.empty() && !bench::write_chart(options.svg, bench.chart)) {
        std::fprintf(stderr, "bench: %s cannot be written\n", options.svg.c_str());
    }
    return report.all_held() ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    Options options;
    if (count != 5 || std::strcmp(arguments[1], "--child") != 0) {
        const command_line::Program program = {
            "bench",
            kUsage,
            {command_line::flag("--quick", options.quick), command_line::text("--only", "CASES", options.only),
             command_line::text("--json", "FILE", options.json), command_line::text("--svg", "FILE", options.svg)}};
        int status = 0;
        if (!command_line::operands_of(program, host::program_arguments(count, arguments), status)) return status;
        if (!options.only.empty()) options.only = "," + options.only + ",";
        return measure(options);
    }
    try {
        return child(arguments);
    } catch (const bench::Failed& failure) {
        std::fprintf(stderr, "bench: %s\n", failure.what());
        return 1;
    }
}
