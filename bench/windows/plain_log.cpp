// The same text, put together beforehand: to the debugger, and through a stream of the runtime, written and flushed.
#include <cstdio>
#include <mutex>

#include "bench/plan.h"

namespace bench {
namespace {

constexpr const char* kMessage = "TSM Write Port: given 65536 bytes and sent 4711 bytes\n";
constexpr const char* kLine = "2026-03-01 09:05:07,042 INFO : TSM Write Port: given 65536 bytes and sent 4711 bytes\n";
constexpr const char* kDetailedLine =
    "2026-03-01 09:05:07,042 INFO : log_lines.cpp:52 - TSM Write Port: given 65536 bytes and sent 4711 bytes [1234]\n";

Cost write(const std::string& folder, unsigned threads, unsigned lines, bool detailed) {
    const std::string text = detailed ? kDetailedLine : kLine;
    std::FILE* const file = std::fopen((folder + "/theirs.log").c_str(), "a");
    require(file != nullptr, "no file for the lines");
    std::mutex mutex;
    const Cost cost = on_threads(threads, [&](unsigned) {
        for (unsigned i = 0; i < lines; ++i) {
            OutputDebugStringA(kMessage);
            const std::lock_guard lock(mutex);
            std::fwrite(text.data(), 1, text.size(), file);
            std::fflush(file);
        }
    });
    std::fclose(file);
    return cost;
}

}  // namespace

const OtherLog& other_log() {
    static const OtherLog log = {"debugger, fwrite, fflush", write};
    return log;
}

}  // namespace bench
