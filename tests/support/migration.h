// A print server whose queues print to Standard TCP/IP ports, for tsport migrate.
#pragma once

#include <map>

#include "tests/support/print_server.h"
#include "tsport/run.h"
#include "tsport/spooler.h"

namespace test {

class Migration : public PrintServer {
  protected:
    // All that a migration may change.
    struct World {
        std::map<Text, spooler_sim::Printer> queues;
        Lines registry;  // the values of all ports, of both monitors, as they are stored
        Lines listed;    // ports of the spooler
        bool operator==(const World&) const = default;
        friend void PrintTo(const World& world, std::ostream* out) {
            for (const auto& [name, queue] : world.queues) {
                *out << host::to_utf8(name) << " -> " << host::to_utf8(queue.port) << "\n";
            }
            for (const Lines& lines : {world.registry, world.listed}) {
                for (const std::string& line : lines) *out << line << "\n";
            }
        }
    };

    Migration() {
        configure({});
        EXPECT_TRUE(host::use_simulated_spooler(nullptr));
        journal_folder = folder.install;
    }
    ~Migration() override {
        monitor.unload();
        spooler_sim::reset();
    }

    static void add_standard_port(const spooler_sim::StandardPort& port) {
        ASSERT_EQ(spooler_sim::add_standard_port(port), 0u);
    }
    void add_queue(const Text& name, const Text& port, DWORD status = 0, DWORD attributes = 0) {
        spooler_sim::Printer queue;
        queue.name = name;
        queue.port = port;
        queue.share = W("share of ") + name;
        queue.driver = W("driver");
        queue.comment = W("comment");
        queue.location = W("location");
        queue.separator = W("separator");
        queue.processor = W("processor");
        queue.data_type = W("RAW");
        queue.parameters = W("parameters");
        queue.devmode =
            std::string(68, '\1') + std::string("\x48\0\x1C\0", 4) + std::string(28, '\1');  // 72 and 28 bytes
        queue.attributes = attributes;
        queue.priority = 7;
        queue.default_priority = 6;
        queue.start_time = 60;
        queue.until_time = 120;
        queue.status = status;
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

    // "name|address|number" for each port of the monitor that is there as a whole.
    static Lines own_ports() {
        Lines lines;
        for (const PortConfig& port : host::stored_ports()) lines.push_back(host::to_line(port));
        std::sort(lines.begin(), lines.end());
        return lines;
    }
    // A line of World::registry.
    static void restore_value(const std::string& line) {
        Lines parts(1);
        for (const char c : line) {
            if (c == '|') parts.emplace_back();
            if (c != '|') parts.back() += c;
        }
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, host::to_text(parts[0]).c_str(), 0, nullptr,
                                  REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &key, nullptr),
                  0);
        if (parts.size() == 4) {
            std::istringstream numbers(parts[3]);
            std::string bytes;
            for (int number = 0; numbers >> number;) bytes += static_cast<char>(number);
            RegSetValueExW(key, host::to_text(parts[1]).c_str(), 0, static_cast<DWORD>(std::stoul(parts[2])),
                           reinterpret_cast<const BYTE*>(bytes.data()), static_cast<DWORD>(bytes.size()));
        }
        RegCloseKey(key);
    }
    World world() const {
        World now;
        for (const Text& name : names_) {
            spooler_sim::Printer queue;
            if (spooler_sim::get_printer(name, queue)) now.queues[name] = queue;
        }
        add_values(contract::kMonitorKey, now.registry);
        add_values(W("SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard TCP/IP Port"), now.registry);
        std::sort(now.registry.begin(), now.registry.end());
        std::vector<tsport::SpoolerPort> ports;
        EXPECT_EQ(tsport::Spooler().ports(ports), 0u);
        for (const tsport::SpoolerPort& port : ports) now.listed.push_back(host::to_utf8(port.name));
        std::sort(now.listed.begin(), now.listed.end());
        return now;
    }

    std::string journal_folder;

  private:
    // A line for each value of each port: key, value, type, bytes.
    static void add_values(const Text& monitor, Lines& lines) {
        const Text path = monitor + W("\\Ports");
        HKEY key = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return;
        WCHAR name[256] = {};
        DWORD length = 256;
        for (DWORD i = 0; RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) == 0; ++i) {
            HKEY port = nullptr;
            EXPECT_EQ(RegOpenKeyExW(key, name, 0, KEY_READ, &port), 0);
            const std::string start = host::to_utf8(path + W("\\") + name) + "|";
            lines.push_back(start);
            for (const LPCWSTR value :
                 {W("HostName"), W("PortNumber"), W("Protocol"), W("Version"), W("IPAddress"), W("HWAddress"),
                  W("SNMP Enabled"), W("SNMP Community"), W("SNMP Index"), W("PortMonMibPortIndex")}) {
                BYTE data[512] = {};
                DWORD size = sizeof data;
                DWORD type = 0;
                if (RegQueryValueExW(port, value, nullptr, &type, data, &size) != 0) continue;
                std::string line = start + host::to_utf8(value) + "|" + std::to_string(type) + "|";
                for (DWORD at = 0; at < size; ++at) line += std::to_string(data[at]) + " ";
                lines.push_back(line);
            }
            RegCloseKey(port);
            length = 256;
        }
        RegCloseKey(key);
    }

    std::vector<Text> names_;
};

}  // namespace test
