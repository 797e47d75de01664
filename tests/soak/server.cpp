#include "tests/soak/server.h"

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "tools/host/text.h"

namespace soak {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kShownWrongs = 20;

// Chunks that threads' caches and vectors of this program hold on to differ from one look to the next.
constexpr size_t kHeapTolerance = size_t{256} << 10;
// Pages that are used in part, and stacks of threads that have gone, which the runtime keeps for the next ones.
constexpr size_t kResidentTolerance = size_t{4} << 20;

size_t entries(const fs::path& folder) {
    return static_cast<size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

}  // namespace

void Account::add(Kind kind, Fate fate, unsigned restarts, std::uint64_t bytes) {
    ++counts_[static_cast<size_t>(kind)][static_cast<size_t>(fate)];
    ++documents_;
    restarts_ += restarts;
    bytes_ += bytes;
}

void Account::wrong(const std::string& what) {
    const std::lock_guard lock(output_);
    if (++wrongs_ > kShownWrongs) return;
    std::printf("WRONG: %s\n", what.c_str());
    std::fflush(stdout);
}

size_t open_descriptors() {
    return entries("/proc/self/fd");
}

size_t resident_bytes() {
    size_t total = 0;
    size_t resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

Stock take_stock(const Server& server) {
    Stock stock{test::take_stock()};
    stock.descriptors = open_descriptors();
    for (const char* const name : {"forceattr", "hpc", "notapprovedjobs", "settings"}) {
        stock.work_files += entries(server.folder.spool(name));
    }
    malloc_trim(0);
    stock.heap = mallinfo2().uordblks + mallinfo2().hblkhd;
    stock.resident = resident_bytes();
    return stock;
}

std::string grown(const Stock& before, const Stock& after) {
    std::string text = test::grown(before, after);
    const auto look = [&](const char* what, size_t was, size_t is, size_t tolerance = 0) {
        if (is > was + tolerance) text += std::to_string(is) + " " + what + ", not " + std::to_string(was) + "; ";
    };
    look("descriptors", before.descriptors, after.descriptors);
    look("work files", 0, after.work_files);
    look("bytes of heap", before.heap, after.heap, kHeapTolerance);
    // A sanitizer's memory is its own matter, and it looks for what is lost by itself.
    if (after.heap != 0) look("bytes resident", before.resident, after.resident, kResidentTolerance);
    return text;
}

}  // namespace soak
