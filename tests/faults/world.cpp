#include "tests/faults/world.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tools/host/records.h"
#include "tools/host/text.h"
#include "winapi/linux/control.h"
#include "winapi/spooler_sim/spooler_sim.h"

namespace faults {
namespace {

namespace fs = std::filesystem;

void write(const std::string& path, const std::string& contents) {
    std::ofstream(path, std::ios::binary) << contents;
}

void empty_folder(const std::string& path) {
    for (const auto& entry : fs::directory_iterator(path)) fs::remove_all(entry.path());
}

// Waits a moment: helpers end by themselves once their input is closed.
template <typename Condition>
bool soon(Condition condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace

const Text kPrinterName = W("Office");

int children() {
    int count = 0;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        std::ifstream stat(entry.path() / "stat");
        std::string line;
        if (!std::getline(stat, line)) continue;
        const size_t name_end = line.rfind(')');
        if (name_end == std::string::npos) continue;
        if (std::stoi(line.substr(name_end + 4)) == getpid()) ++count;
    }
    return count;
}

World::World(std::string library, std::string helper)
    : library_(std::move(library)), install_(host::make_temporary_folder()) {
    std::string why;
    if (!host::set_up_base(install_, {}, folder_, why)) error_ = why;
    std::error_code failed;
    fs::copy_file(helper, folder_.base + "/" + host::helper_file_name, failed);
    if (failed) error_ = helper + ": " + failed.message();
    if (!printer_.error().empty()) error_ = printer_.error();
    winapi::allow_dns(false);
}

World::~World() {
    unload();
    std::error_code ignored;
    fs::remove_all(install_, ignored);
}

void World::reset(const std::vector<std::string>& settings) {
    unload();
    remove_records();
    for (const auto& entry : fs::directory_iterator(folder_.base)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with("print-monitor.log") || name.starts_with("ts-print-monitor.")) {
            if (name != host::helper_file_name) fs::remove_all(entry.path());
        }
    }
    std::string conf;
    for (const std::string& line : settings) conf += line + "\n";
    write(folder_.base + "/print-provider.conf", conf);
    winapi::clear_registry();
    spooler_sim::reset();
    spooler_sim::add_printer(kPrinterName);
    host::store_install_path(Text(winapi::windows_path(install_)));
    host::store_port(kPrinterName, W("127.0.0.1"), printer_.port());
    printer_.behave(peer::Behaviour());
}

void World::answer_by(const std::string& script) const {
    host::set_helper_script(folder_, script);
}

void World::check_hardware() const {
    host::write_settings_record(folder_, "Office");
}

void World::force_attributes() const {
    host::write_force_attributes_records(folder_, "Office", kJob);
}

void World::mark_not_approved() const {
    write(folder_.marker(kJob), "");
}

void World::remove_records() const {
    for (const char* name : {"hpc", "settings", "forceattr", "notapprovedjobs"}) empty_folder(folder_.spool(name));
}

bool World::load() {
    host::MonitorHost::Options options;
    options.library = library_;
    options.folder = folder_;
    error_.clear();
    return monitor_.load(options, error_);
}

host::Outcome World::print(const std::string& data, DWORD write_size) {
    host::Document document;
    document.port = kPrinterName;
    document.printer = kPrinterName;
    document.job_id = kJob;
    document.source = host::memory_source(data);
    document.write_size = write_size;
    document.retry_pause_ms = 0;
    return monitor_.print_document(document);
}

std::vector<std::string> World::arrived(bool must_come) {
    printer_.wait_for_connections(seen_ + 1, std::chrono::milliseconds(must_come ? 60000 : 0));
    const size_t count = printer_.connections();
    printer_.wait_for_ends(count);
    std::vector<std::string> data;
    for (; seen_ < count; ++seen_) {
        std::string one = printer_.connection(seen_).data;
        if (!one.empty()) data.push_back(std::move(one));
    }
    printer_.forget_ended();  // a sweep sees more data than memory holds
    return data;
}

std::vector<std::string> World::listed_ports() {
    DWORD needed = 0;
    DWORD returned = 0;
    MONITOR2* const table = monitor_.table();
    table->pfnEnumPorts(monitor_.monitor(), nullptr, 1, nullptr, 0, &needed, &returned);
    std::vector<BYTE> buffer(needed);
    std::vector<std::string> names;
    if (!table->pfnEnumPorts(monitor_.monitor(), nullptr, 1, buffer.data(), needed, &needed, &returned)) return names;
    for (DWORD i = 0; i < returned; ++i) {
        names.push_back(host::to_utf8(reinterpret_cast<const PORT_INFO_1W*>(buffer.data())[i].pName));
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> World::stored_ports() {
    std::vector<std::string> names;
    HKEY key = nullptr;
    const Text path = Text(host::monitor_registry_path) + W("\\Ports");
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return names;
    WCHAR name[256];
    for (DWORD index = 0;; ++index) {
        DWORD size = 256;
        if (RegEnumKeyExW(key, index, name, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
        names.push_back(host::to_utf8(name));
    }
    RegCloseKey(key);
    std::sort(names.begin(), names.end());
    return names;
}

void World::take_stock() {
    handles_ = winapi::open_handles();
    allocations_ = winapi::open_allocations();
    misuses_ = winapi::misuses();
}

std::string World::left_over() const {
    std::string text;
    if (!soon([] { return children() == 0; })) text += "a child process; ";
    // The log file may have been closed meanwhile, and opens with its next line.
    if (winapi::open_handles() > handles_) {
        text += std::to_string(winapi::open_handles()) + " handles instead of " + std::to_string(handles_) + ": " +
                winapi::describe_open_handles() + "; ";
    }
    if (winapi::open_allocations() > allocations_) text += "memory of the global heap; ";
    if (spooler_sim::open_printers() != 0) text += "a printer handle; ";
    if (spooler_sim::open_tokens() != 0) text += "an identity token; ";
    if (winapi::misuses() != misuses_) text += "a handle or lock was misused; ";
    return text;
}

}  // namespace faults
