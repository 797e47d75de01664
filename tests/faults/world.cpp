#include "tests/faults/world.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/platform.h"
#include "winapi/linux/control.h"

namespace faults {

namespace fs = std::filesystem;

Lines to_lines(const std::vector<host::PortConfig>& ports) {
    Lines lines;
    for (const host::PortConfig& port : ports) lines.push_back(host::to_line(port));
    std::sort(lines.begin(), lines.end());
    return lines;
}

const Text kPrinterName = W("Office");

const testbed::DocumentPlan kFullPlan = {.not_approved = true, .progress = true, .checked = true, .forced = true};

World::World() {
    const bool ready = set_up({}, error_) && testbed::install_helper(folder);
    if (!ready && error_.empty()) error_ = "the helper program cannot be copied";
    if (!printer_.error().empty()) error_ = printer_.error();
    winapi::allow_dns(false);
}

void World::reset(const Lines& settings) {
    error_.clear();
    monitor.unload();
    release_library();
    for (const auto& entry : fs::directory_iterator(folder.base)) {
        if (entry.path().filename() != testbed::helper_file_name) fs::remove_all(entry.path());
    }
    host::clear_registry();
    spooler_sim::reset();
    spooler_sim::add_printer(kPrinterName);
    if (!set_up(settings, error_)) return;
    host::store_port(kPrinterName, W("127.0.0.1"), printer_.port());
    printer_.behave(test_printer::Behaviour());
}

void World::keep_library() {
    kept_ = LoadLibraryW(host::windows_path(load_options.library).c_str());
}

void World::release_library() {
    if (kept_ != nullptr) FreeLibrary(kept_);
    kept_ = nullptr;
}

host::Outcome World::print(const std::string& data, DWORD write_size) {
    host::Document job = document(kPrinterName, host::memory_source(data), write_size);
    job.job_id = kJob;
    job.retry_pause_ms = 0;
    return monitor.print_document(job);
}

Lines World::arrived(bool must_come) {
    printer_.wait_for_connections(seen_ + 1, std::chrono::milliseconds(must_come ? 60000 : 0));
    const size_t count = printer_.connections();
    printer_.wait_for_ends(count);
    Lines data;
    for (; seen_ < count; ++seen_) {
        std::string one = printer_.connection(seen_).data;
        if (!one.empty()) data.push_back(std::move(one));
    }
    printer_.forget_ended();  // a sweep sees more data than memory holds
    return data;
}

size_t World::logged(const std::string& text) const {
    std::stringstream read;
    for (const auto& entry : fs::directory_iterator(folder.base)) {
        const bool is_log = entry.path().filename().string().starts_with("print-monitor.log");
        if (is_log) read << std::ifstream(entry.path()).rdbuf();
        read.clear();  // nothing was read from an empty one
    }
    const std::string log = read.str();
    size_t count = 0;
    for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) ++count;
    return count;
}

}  // namespace faults
