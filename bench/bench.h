// The cases and their common parameters.
#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>

#include "bench/pairs.h"
#include "bench/receiver.h"
#include "bench/report.h"

namespace bench {

constexpr std::uint64_t kKiB = 1024;
constexpr std::uint64_t kMiB = 1024 * kKiB;
constexpr std::uint64_t kGiB = 1024 * kMiB;
constexpr size_t kUsualWrite = 64 * kKiB;
constexpr std::uint64_t kSmallDocument = 100 * kKiB;
constexpr const char* kPlain = "plain loop";
constexpr const char* kPrescribed = "the prescribed calls";

// A line of the picture of throughput over the size of writes.
struct Series {
    std::string name;
    std::string colour;
    // Bytes of a write, and GiB/s. One with a single point does not choose its writes: it is drawn as a level.
    std::vector<std::pair<double, double>> points;
};

bool write_chart(const std::string& path, const std::vector<Series>& all);

struct Bench {
    const Receiver& receiver;
    Report& report;
    SamplingPlan sampling;
    bool quick;                   // a smoke run: the same cases with a part of the data
    std::vector<Series> chart{};  // what the picture shows

    std::uint64_t scaled(std::uint64_t amount) const { return quick ? amount / 16 : amount; }
};

// A buffer of a spooler that writes that much at a time.
std::vector<char> buffer_of(size_t size);
// A file of so many bytes, the data over and over. Throws Failed.
void write_document(const std::string& path, const std::vector<char>& data, std::uint64_t size);

// A sample that has to bring so many bytes in so many connections to the receiver.
Sample delivering(const Bench& bench, std::uint64_t bytes, std::uint64_t connections, const Sample& sample);
Sample timed(const std::function<void()>& work);
// Threads wait here until so many have come. (std::latch loses a wake-up now and then in mingw's library.)
class Gate {
  public:
    explicit Gate(unsigned count) : missing_(count) {}
    void arrive();
    void wait();

  private:
    std::mutex mutex_;
    std::condition_variable opened_;
    unsigned missing_;
};
// What the threads take, from the moment when all of them are there; each prints for a client, and is given its number.
// What goes wrong in one fails all.
Cost on_threads(unsigned threads, const std::function<void(unsigned)>& work);

// Measures a row and adds it; its pairs.
Measured compare(Bench& bench, const std::string& name, const std::string& against, std::optional<double> bar,
                 const Sample& ours, const Sample& theirs, const std::string& unit = "ms", double factor = 1e3,
                 double parts = 1);

void large_documents(Bench& bench);
void small_documents(Bench& bench);
void ports_at_once(Bench& bench);
void stalled_ports(Bench& bench);
void lock_waits(Bench& bench);
void log_lines(Bench& bench);
void forced_attributes(Bench& bench);
void stored_ports(Bench& bench);
// Of one build alone.
void cups(Bench& bench);
void memory(Bench& bench);
void allocations(Bench& bench);
void system_calls(Bench& bench);
void ports_by_tsport(Bench& bench);
void reports(Bench& bench);
void memory_of_ports(Bench& bench);
void windows_calls(Bench& bench);

// So many small documents for somebody who counts from outside: "documents", "debug" (the same with Debug=on) or
// "prescribed". False for any other name.
bool repeat_documents(const std::string& name, std::uint64_t count, std::uint16_t port);

// Stored and in mid-document, 64 ports and 1,000: KiB of memory of this process for each of those between.
double memory_of_a_port(std::uint16_t port);

}  // namespace bench
