// A print server whose queues print to Standard TCP/IP ports, for tsport migrate.
#pragma once

#include <map>
#include <set>

#include "tests/support/print_server.h"
#include "tsport/run.h"

namespace test {

class Migration : public testing::Test, protected testbed::PrintServer {
  protected:
    // All that a migration may change.
    struct World {
        std::map<Text, spooler_sim::Printer> queues;
        Lines ports;  // of the monitor, as they are stored
        bool operator==(const World&) const = default;
        friend void PrintTo(const World& world, std::ostream* out) {
            for (const auto& [name, queue] : world.queues) {
                *out << host::to_utf8(name) << " -> " << host::to_utf8(queue.port) << "\n";
            }
            for (const std::string& port : world.ports) *out << port << "\n";
        }
    };

    Migration() {
        std::string why;
        EXPECT_TRUE(set_up({}, why) && host::use_simulated_spooler(nullptr)) << why;
        journal_folder = folder.install;
    }
    ~Migration() override {
        monitor.unload();
        for (const Text& path : keys_) RegDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str());
        keys_.clear();
    }

    // As Windows' Standard TCP/IP monitor stores it; `ip_address` is of ports without `host`.
    struct StandardPort {
        Text name;
        Text host;
        Text ip_address;
        DWORD number = 9100;
        DWORD protocol = 1;  // 1: raw, 2: LPR
    };
    static void add_standard_port(const StandardPort& port) {
        const Text path =
            W("SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard TCP/IP Port\\Ports\\") + port.name;
        keys_.insert(path);
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                                  nullptr, &key, nullptr),
                  0);
        const std::pair<LPCWSTR, DWORD> numbers[] = {
            {W("Protocol"), port.protocol}, {W("Version"), 2}, {W("PortNumber"), port.number}, {W("SNMP Enabled"), 0}};
        for (const auto& [name, number] : numbers) {
            RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
        }
        const std::pair<LPCWSTR, Text> texts[] = {{W("HostName"), port.host}, {W("IPAddress"), port.ip_address}};
        for (const auto& [name, text] : texts) {
            RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                           static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR)));
        }
        RegCloseKey(key);
        spooler_sim::add_foreign_port(port.name);
    }
    void load() {
        std::string why;
        ASSERT_TRUE(try_load(why)) << why;
    }
    void add_queue(const Text& name, const Text& port, DWORD status = 0, DWORD attributes = 0) {
        spooler_sim::Printer queue;
        queue.name = name;
        queue.port = port;
        queue.share = queue.driver = queue.comment = W("of ") + name;
        queue.status = status;
        queue.attributes = attributes;
        spooler_sim::add_printer(queue);
        names_.push_back(name);
    }
    // As somebody else does.
    static void give(const Text& name, const Text& port) {
        spooler_sim::Printer queue;
        ASSERT_TRUE(spooler_sim::get_printer(name, queue));
        if (queue.port == port) return;
        queue.port = port;
        spooler_sim::remove_printer(name);
        spooler_sim::add_printer(queue);
    }

    std::string journal() const { return journal_folder + "/journal"; }
    tsport::Answer run(Lines options) const {
        options.insert(options.begin(), "migrate");
        if (std::find(options.begin(), options.end(), "--undo") == options.end()) {
            options.insert(options.end(), {"--journal", journal()});
        }
        return tsport::run(options);
    }

    World world() const {
        World now;
        for (const Text& name : names_) {
            spooler_sim::Printer queue;
            if (spooler_sim::get_printer(name, queue)) now.queues[name] = queue;
        }
        for (const PortConfig& port : host::stored_ports()) now.ports.push_back(host::to_line(port));
        std::sort(now.ports.begin(), now.ports.end());
        return now;
    }

    std::string journal_folder;

  private:
    std::vector<Text> names_;
    static inline std::set<Text> keys_;  // of Standard TCP/IP ports
};

}  // namespace test
