#include "testbed/demo/stage.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include "host/platform.h"
#include "host/progress.h"
#include "testbed/records.h"

namespace demo {
namespace {

constexpr std::uint64_t kept_bytes = 128 << 20;  // all of a document
const host::Text port_name = W("DemoPort");

constexpr const char* telling_parts[] = {
    " ERROR: ", "Start Doc Port - abandon", "extracted wait error", "sent force attr data", "requested restart",
    ", Total ",
};

bool tells(const std::string& line) {
    return std::any_of(std::begin(telling_parts), std::end(telling_parts),
                       [&](const char* part) { return line.find(part) != std::string::npos; });
}

// "[####....]  50 %  1.0 MiB of 2.0 MiB  512.0 KiB/s"
std::string bar_of(std::uint64_t done, std::uint64_t total, double seconds) {
    constexpr std::uint64_t width = 40;
    const auto filled = static_cast<size_t>(width * done / total);
    return "  [" + std::string(filled, '#') + std::string(width - filled, '.') + "] " +
           std::to_string(100 * done / total) + " %  " + host::size_to_text(done) + " of " + host::size_to_text(total) +
           "  " + host::rate_to_text(done, seconds);
}

}  // namespace

const char printer_name[] = "Front desk";

bool Stage::open(const std::string& host, DWORD port, std::string& why) {
    host_ = host;
    port_ = port;
    if (host.empty()) {
        printer_ = std::make_unique<test_printer::TcpPrinter>();
        printer_->behave({.keep_bytes = kept_bytes});
        host_ = printer_->address();
        port_ = printer_->port();
        why = printer_->error();
        if (!why.empty()) return false;
    }
    // Keeps all of it in one log file.
    const std::vector<std::string> conf = {"Debug=on", "LogRotateSizeKBytes=4000000"};
    if (!set_up(conf, why)) return false;
    why = "the helper program cannot be copied from " + host::executable_folder();
    if (!testbed::install_helper(folder)) return false;
    why = "the port cannot be stored in the registry";
    if (!host::store_port(port_name, host::to_text(host_), port_)) return false;
    spooler_sim::add_printer(host::to_text(printer_name));
    if (!try_load(why)) return false;
    log_lines();
    return true;
}

host::Document Stage::document(const std::string& name, const host::Source& source) {
    host::Document made = PrintServer::document(host::to_text(printer_name), source);
    made.port = port_name;
    made.name = host::to_text(name);
    made.user = W("demo");
    made.job_id = monitor.next_job_id();
    made.retry_pause_ms = host::Document().retry_pause_ms;
    return made;
}

host::Outcome Stage::print(host::Document document) {
    const std::uint64_t size = document.source.size;
    host::Progress progress({.stream = host::is_terminal(stdout) ? stdout : nullptr,
                             .total = size,
                             .line = [&](std::uint64_t done, double seconds) { return bar_of(done, size, seconds); },
                             .standstill = "the printer has taken nothing"});
    document.progress = [&](std::uint64_t bytes) { progress.show(bytes); };
    return monitor.print_document(document);
}

std::vector<test_printer::Connection> Stage::arrivals(bool must_come) {
    std::vector<test_printer::Connection> arrived;
    if (printer_ == nullptr) return arrived;
    if (must_come) printer_->wait_for_connections(connections_seen_ + 1, std::chrono::seconds(5));
    printer_->wait_for_ends(printer_->connections(), std::chrono::seconds(5));
    for (; connections_seen_ < printer_->connections(); ++connections_seen_) {
        arrived.push_back(printer_->connection(connections_seen_));
    }
    return arrived;
}

std::vector<std::string> Stage::log_lines() {
    std::vector<std::string> lines;
    std::ifstream log(host::path_of(folder.log()), std::ios::binary);
    log.seekg(log_seen_);
    for (std::string line; std::getline(log, line);) {
        log_seen_ += static_cast<std::streamoff>(line.size() + 1);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (tells(line)) lines.push_back(line);
    }
    return lines;
}

std::string bytes_of(const host::Source& source) {
    std::string bytes(static_cast<size_t>(source.size), '\0');
    source.rewind();
    bytes.resize(source.read(bytes.data(), bytes.size()));
    return bytes;
}

}  // namespace demo
