// The cases and their common parameters.
#pragma once

#include "bench/chart.h"
#include "bench/pairs.h"
#include "bench/receiver.h"
#include "bench/report.h"

namespace bench {

constexpr std::uint64_t kKiB = 1024;
constexpr std::uint64_t kMiB = 1024 * kKiB;
constexpr std::uint64_t kGiB = 1024 * kMiB;

struct Bench {
    Receiver& receiver;
    Report& report;
    Effort effort;
    bool quick;                   // a smoke run: the same cases with a part of the data
    std::vector<Series> chart{};  // what the picture shows

    std::uint64_t scaled(std::uint64_t amount) const { return quick ? amount / 16 : amount; }
};

// A buffer of a spooler that writes that much at a time.
std::vector<char> buffer_of(size_t size);

void large_documents(Bench& bench);
void small_documents(Bench& bench);
void ports_at_once(Bench& bench);
void log_lines(Bench& bench);
void forced_attributes(Bench& bench);
void stored_ports(Bench& bench);
void memory(Bench& bench);
void allocations(Bench& bench);
void system_calls(Bench& bench);
void reports(Bench& bench);

// What a process of its own does for the last cases ("--child NAME COUNT PORT"): its exit status.
int run_child(const std::string& name, std::uint64_t count, std::uint16_t port);

}  // namespace bench
