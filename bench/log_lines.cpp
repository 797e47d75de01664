// Lines of the log, each flushed, against something else that flushes each.
#include <filesystem>

#include "bench/plan.h"
#include "common/global.h"
#include "common/log.h"
#include "host/platform.h"
#include "host/setup.h"

namespace bench {
namespace {

std::string log_path(const std::string& folder) {
    return host::to_utf8(host::windows_path(folder + "/ours.log"));
}

// The log as the monitor uses it, with the defaults of its settings.
void open_ours(const std::string& folder, bool detailed) {
    session_context.debug_logging = detailed ? 1 : 0;
    session_context.log_rotate_number = 10;
    session_context.log_rotate_size_kbytes = 10240;
    session_context.log_rotate_check_count = 200;
    log_init_lock();
    log_set_path(log_path(folder).c_str());
    log_open();
}

void close_ours() {
    log_set_path("");
    session_context.debug_logging = 0;
}

void write_ours(unsigned lines) {
    for (unsigned i = 0; i < lines; ++i) {
        log_info(LOG_HERE, "TSM %s: given %u bytes and sent %u bytes", "Write Port", 65536u, i);
    }
}

// No file of one sample reaches the disk while the next is measured.
void empty(const std::string& folder) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) std::filesystem::remove(entry);
}

void compare_lines(Bench& bench, const std::string& folder, unsigned threads, bool detailed) {
    const auto lines = static_cast<unsigned>(bench.scaled(plan().log_lines) / threads);
    const Sample ours = [&] {
        open_ours(folder, detailed);
        const Cost cost = on_threads(threads, [lines](unsigned) { write_ours(lines); });
        close_ours();
        empty(folder);
        return cost;
    };
    const Sample theirs = [&] {
        const Cost cost = other_log().write(folder, threads, lines, detailed);
        empty(folder);
        return cost;
    };
    const std::string name = std::string("log line, flushed, ") + std::to_string(threads) +
                             (threads == 1 ? " thread" : " threads") + (detailed ? ", debug detail" : "");
    compare(bench, name, other_log().name, plan().log_line, ours, theirs, "µs", 1e6, lines * threads);
}

}  // namespace

void log_lines(Bench& bench) {
    const std::string folder = host::make_temporary_folder();
    require(!folder.empty(), "no folder for the logs");
    compare_lines(bench, folder, 1, false);
    // No printer has a part in this: threads that write at the same time have its processor, too.
    bench.receiver.rest();
    const std::uint64_t before = use_processors(UINT64_MAX);
    compare_lines(bench, folder, 8, true);
    use_processors(before);
    std::filesystem::remove_all(folder);
}

}  // namespace bench
