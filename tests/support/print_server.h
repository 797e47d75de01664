// A print server for a test: a base folder, printers that listen on loopback, their ports, and the monitor loaded from
// its library as the spooler loads it.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/platform.h"
#include "tools/host/monitor_host.h"
#include "tools/host/platform.h"
#include "tools/peer/pattern.h"
#include "tools/peer/tcp_printer.h"

namespace test {

using host::Text;
using Lines = std::vector<std::string>;

// Whether something comes true, however busy the machine is.
template <typename Condition>
bool wait_until(Condition condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// Whether no more handles are open than before, once what others still hold, a printer's connection say, is closed too.
inline bool handles_fall_to(size_t count) {
    return wait_until([count] { return open_handles() <= count; });
}

class PrintServer : public testing::Test {
  protected:
    PrintServer() {
        spooler_sim::reset();
        clear_registry();
        install_ = host::make_temporary_folder();
    }

    ~PrintServer() override {
        monitor.unload();
        EXPECT_EQ(spooler_sim::open_printers(), 0u);
        EXPECT_EQ(spooler_sim::open_tokens(), 0u);
        std::error_code ignored;
        fs::remove_all(install_, ignored);
    }

    // Writes the settings; more may be added with later calls.
    void configure(const Lines& settings) {
        std::string why;
        ASSERT_TRUE(host::set_up_base(install_, settings, folder, why)) << why;
    }
    // Configures, loads, and has one printer more: "Office".
    void start(const Lines& settings = {"Debug=on"}) {
        configure(settings);
        add_printer(W("Office"));
        load();
    }
    bool try_load(std::string& why) { return load_into(monitor, why); }
    bool load_into(host::MonitorHost& host, std::string& why) const {
        host::MonitorHost::Options chosen = load_options;
        chosen.library = host::executable_folder() + "/" + host::monitor_file_name();
        chosen.folder = folder;
        return host.load(chosen, why);
    }
    void load() {
        std::string why;
        ASSERT_TRUE(try_load(why)) << why;
    }
    void restart() {
        monitor.unload();
        load();
    }

    // A printer of the spooler, with a port of the same name to a TCP printer of its own. Before load().
    peer::TcpPrinter& add_printer(const Text& name) {
        peer::TcpPrinter& printer = printers_.emplace_back();
        EXPECT_EQ(printer.error(), "");
        if (name == W("Office")) {
            office = &printer;
            arrivals_ = 0;
        }
        spooler_sim::add_printer(name);
        EXPECT_TRUE(host::store_port(name, W("127.0.0.1"), printer.port()));
        return printer;
    }

    static host::Document document(const Text& printer, host::Source source, DWORD write_size = 65536) {
        host::Document made;
        made.port = printer;
        made.printer = printer;
        made.source = std::move(source);
        made.write_size = write_size;
        made.retry_pause_ms = 1;
        return made;
    }
    host::Outcome print(const Text& printer, const std::string& data, DWORD write_size = 65536) {
        return monitor.print_document(document(printer, host::memory_source(data), write_size));
    }
    host::Outcome print_job(DWORD id, const std::string& data, bool not_approved = false) {
        host::Document job = document(W("Office"), host::memory_source(data));
        job.job_id = id;
        job.not_approved = not_approved;
        return monitor.print_document(job);
    }
    // A document on "Office" that the test drives step by step.
    HANDLE begin_document(DWORD job_id) {
        HANDLE port = nullptr;
        spooler_sim::add_job(W("Office"), job_id, W("doc"), W("ann"));
        EXPECT_TRUE(monitor.open_port(W("Office"), port));
        EXPECT_TRUE(monitor.start_document(port, W("Office"), job_id, W("doc")));
        return port;
    }
    bool write(HANDLE port, const std::string& data) {
        return monitor.write(port, data.data(), static_cast<DWORD>(data.size()), written);
    }
    static spooler_sim::Job job(DWORD id) {
        spooler_sim::Job found;
        EXPECT_TRUE(spooler_sim::get_job(W("Office"), id, found));
        return found;
    }
    // What each connection since the last call has brought to "Office".
    Lines arrived() {
        Lines data;
        EXPECT_TRUE(office->wait_for_ends(office->connections()));
        for (; arrivals_ < office->connections(); ++arrivals_) data.push_back(office->connection(arrivals_).data);
        return data;
    }

    std::string log() const { return read_file(path_of(folder.log())); }
    // The log's lines without their line ends.
    Lines log_lines() const {
        std::istringstream text(log());
        Lines lines;
        for (std::string line; std::getline(text, line);) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            lines.push_back(line);
        }
        return lines;
    }
    // How often a text stands in the log, in lines of that level only when one is given.
    int logged(const std::string& text, const std::string& level = "") const {
        int count = 0;
        for (const std::string& line : log_lines()) {
            if (line.find(text) != std::string::npos && line.find(" " + level) != std::string::npos) ++count;
        }
        return count;
    }
    // The messages of the debug log from the first one that contains `from` on, without place and thread number.
    Lines messages(const std::string& from) const {
        Lines found;
        bool on = false;
        for (const std::string& line : log_lines()) {
            const size_t start = line.find(" - ");
            const size_t end = line.rfind(" [");
            if (start == std::string::npos || end == std::string::npos || end < start) continue;
            const std::string message = line.substr(start + 3, end - start - 3);
            on = on || message.find(from) != std::string::npos;
            if (on) found.push_back(message);
        }
        return found;
    }

    host::BaseFolder folder;
    host::MonitorHost::Options load_options;  // all but the paths
    host::MonitorHost monitor;
    peer::TcpPrinter* office = nullptr;
    DWORD written = 0;  // by the last write

  private:
    std::string install_;
    size_t arrivals_ = 0;
    std::list<peer::TcpPrinter> printers_;
};

// Nothing lost, doubled or moved goes unseen in it.
using peer::pattern;

}  // namespace test
