#include "tests/soak/soak.h"

#include <malloc.h>

#include <cstdio>
#include <filesystem>

namespace soak {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kShownWrongs = 20;
// Chunks that threads' caches and vectors of this program hold on to differ from one look to the next.
constexpr size_t kHeapTolerance = size_t{256} << 10;

size_t entries(const fs::path& folder) {
    return static_cast<size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

}  // namespace

void Server::wrong(const std::string& what) {
    const std::lock_guard lock(output);
    if (++wrongs > kShownWrongs) return;
    std::printf("WRONG: %s\n", what.c_str());
    std::fflush(stdout);
}

Stock take_stock(const Server& server) {
    Stock stock{test::take_stock()};
    stock.descriptors = entries("/proc/self/fd");
    for (const char* const name : {"forceattr", "hpc", "notapprovedjobs", "settings"}) {
        stock.work_files += entries(server.folder.spool(name));
    }
    stock.heap = mallinfo2().uordblks + mallinfo2().hblkhd;
    return stock;
}

std::string grown(const Stock& before, const Stock& after) {
    std::string text = test::grown(before, after);
    const auto look = [&text](const char* what, size_t was, size_t is) {
        if (is > was) text += std::to_string(is) + " " + what + ", not " + std::to_string(was) + "; ";
    };
    look("descriptors", before.descriptors, after.descriptors);
    look("work files", 0, after.work_files);
    look("bytes of heap", before.heap + kHeapTolerance, after.heap);
    return text;
}

}  // namespace soak
