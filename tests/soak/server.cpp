#include "tests/soak/soak.h"

#include <malloc.h>

#include <cstdio>
#include <filesystem>

namespace soak {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kShownWrongs = 20;

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

std::string Server::sums() const {
    return std::to_string(documents) + " documents, " + std::to_string(restarts) + " restarts, " +
           std::to_string(failed) + " failed";
}

test::Stock Server::take_stock() const {
    test::Stock stock = test::take_stock();
    stock["descriptors"] = entries("/proc/self/fd");
    for (const char* const name : {"forceattr", "hpc", "notapprovedjobs", "settings"}) {
        stock["work files"] += entries(folder.spool(name));
    }
    stock["bytes of heap"] = mallinfo2().uordblks + mallinfo2().hblkhd;
    return stock;
}

}  // namespace soak
