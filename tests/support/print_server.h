// A print server for a test, its configuration channel included.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "host/platform.h"
#include "host/ports.h"
#include "testbed/print_server.h"
#include "testbed/test_printer/pattern.h"
#include "tests/support/files.h"
#include "tests/support/platform.h"
#include "tests/support/same_bytes.h"

namespace test {

using host::clear_registry;
using host::port_config;
using host::PortConfig;
using host::send_config;
using host::send_name;
using host::Text;
using testbed::wait_until;
using Lines = std::vector<std::string>;

// Whether no more handles are open than before, once what others still hold, a printer's connection say, is closed too.
inline bool handles_fall_to(size_t count) {
    return wait_until([count] { return open_handles() <= count; });
}

class PrintServer : public testing::Test, protected testbed::PrintServer {
  protected:
    ~PrintServer() override {
        monitor.unload();
        EXPECT_EQ(spooler_sim::open_printers(), 0u);
        EXPECT_EQ(spooler_sim::open_tokens(), 0u);
        if (HasFailure()) std::printf("The log:\n%s\n", log().c_str());
    }

    // Writes the settings; more may be added with later calls.
    void configure(const Lines& settings) {
        std::string why;
        ASSERT_TRUE(set_up(settings, why)) << why;
    }
    // Configures, loads, and has one printer more: "Office".
    void start(const Lines& settings = {"Debug=on"}) {
        configure(settings);
        add_printer(W("Office"));
        load();
    }
    void load() {
        std::string why;
        ASSERT_TRUE(try_load(why)) << why;
    }
    void restart() {
        monitor.unload();
        load();
    }
    // Before load().
    test_printer::TcpPrinter& add_printer(const Text& name) {
        test_printer::TcpPrinter& printer = testbed::PrintServer::add_printer(name);
        EXPECT_EQ(printer.error(), "");
        if (name == W("Office")) {
            office = &printer;
            arrivals_ = 0;
        }
        return printer;
    }

    // On the port "Office".
    host::Outcome print_job(DWORD id, const std::string& data, bool not_approved = false,
                            const Text& printer = W("Office")) {
        host::Document job = document(printer, host::memory_source(data));
        job.port = W("Office");
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
    // What each connection since the last call has brought to "Office"; at least so many come.
    Lines arrived(size_t at_least = 0) {
        Lines data;
        EXPECT_TRUE(office->wait_for_ends(std::max(office->connections(), arrivals_ + at_least)));
        for (; arrivals_ < office->connections(); ++arrivals_) data.push_back(office->connection(arrivals_).data);
        return data;
    }

    // The ports as lines: as they are listed, and as they are stored.
    Lines listed() const { return lines_of(host::listed_ports(monitor)); }
    static Lines stored() { return lines_of(host::stored_ports()); }
    void expect_agreement() const {
        Lines list = listed();
        Lines registry = stored();
        std::sort(list.begin(), list.end());
        std::sort(registry.begin(), registry.end());
        EXPECT_EQ(list, registry);
    }

    std::string log() const { return read_file(path_of(folder.log())); }
    // The log's lines without their line ends.
    Lines log_lines() const {
        Lines lines = split_lines(log());
        for (std::string& line : lines) {
            if (line.ends_with('\r')) line.pop_back();
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
    test_printer::TcpPrinter* office = nullptr;
    DWORD written = 0;  // by the last write

  private:
    static Lines lines_of(const std::vector<PortConfig>& ports) {
        Lines lines;
        for (const PortConfig& port : ports) lines.push_back(host::to_line(port));
        return lines;
    }

    size_t arrivals_ = 0;
};

// Nothing lost, doubled or moved goes unseen in it.
using test_printer::pattern;

}  // namespace test
