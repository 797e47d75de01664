// A widely used logging library.
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include "bench/plan.h"

namespace bench {
namespace {

std::shared_ptr<spdlog::logger> open_log(const std::string& folder, bool detailed) {
    auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(folder + "/theirs.log", true);
    auto logger = std::make_shared<spdlog::logger>("log", std::move(sink));
    logger->set_pattern(detailed ? "%Y-%m-%d %H:%M:%S,%e %^%l%$ : %s:%# - %v [%t]" : "%Y-%m-%d %H:%M:%S,%e %l : %v");
    logger->flush_on(spdlog::level::trace);
    return logger;
}

Cost write(const std::string& folder, unsigned threads, unsigned lines, bool detailed) {
    const auto logger = open_log(folder, detailed);
    return on_threads(threads, [&logger, lines](unsigned) {
        for (unsigned i = 0; i < lines; ++i) {
            SPDLOG_LOGGER_INFO(logger.get(), "TSM {}: given {} bytes and sent {} bytes", "Write Port", 65536u, i);
        }
    });
}

}  // namespace

const OtherLog& other_log() {
    static const OtherLog log = {"spdlog", write};
    return log;
}

}  // namespace bench
