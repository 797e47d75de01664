// A migration in which every call fails, one after the other, and one that is killed at every call: each queue keeps a
// port that leads to its printer, and all is put back. What a migration answers is in tests/document/tsport.txt.
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <map>

#include "tests/support/print_server.h"
#include "tsport/migrate/stored_ports.h"
#include "tsport/run.h"
#include "tsport/spooler.h"
#include "winapi/linux/fault.h"

namespace test {
namespace {

using winapi::fault::Mode;

// Forward and, when the parameter is true, back.
class MigrateFaults : public PrintServer, public testing::WithParamInterface<bool> {
  protected:
    MigrateFaults() {
        configure({});
        if (!GetParam()) {
            spooler_sim::add_standard_port({W("One"), W("10.0.0.1"), W("")});
            spooler_sim::add_standard_port({W("Two, left"), W("10.0.0.2"), W("")});
            spooler_sim::add_standard_port({W("LPR"), W("10.0.0.3"), W(""), 515, 2});
        } else {
            host::store_port(W("One"), W("10.0.0.1"), 9100);
            host::store_port(W("Two, left"), W("10.0.0.2"), 9100);
            spooler_sim::add_standard_port({W("Former"), W("10.0.0.2"), W("")});
        }
        add_queue(W("A"), W("One"), PRINTER_STATUS_PAUSED);
        add_queue(W("B"), W("One"));
        add_queue(W("C"), W("Two, left"), 0, PRINTER_ATTRIBUTE_SHARED);
        if (!GetParam()) add_queue(W("D"), W("LPR"));
        load();
        queues_ = queues();
        before_ = world();
        // Where a flush costs nothing, if there is such a place.
        const std::string memory = "/dev/shm/migrate-" + std::to_string(getpid());
        std::error_code error;
        journal_folder = fs::create_directory(memory, error) ? memory : folder.install;
    }
    ~MigrateFaults() override {
        if (journal_folder != folder.install) fs::remove_all(journal_folder);
    }

    static void add_queue(const Text& name, const Text& port, DWORD status = 0, DWORD attributes = 0) {
        // Of 72 bytes, and 28 of its driver.
        const std::string devmode = std::string(68, '\1') + std::string("\x48\0\x1C\0", 4) + std::string(28, '\1');
        spooler_sim::add_printer({name, port, W("share of ") + name, W("driver"), W("comment"), W("location"),
                                  W("separator"), W("processor"), W("RAW"), W("parameters"), devmode, attributes, 7, 6,
                                  60, 120, status});
    }

    std::string journal() const { return journal_folder + "/journal"; }
    tsport::Answer apply() const {
        Lines words = {"migrate", "--apply", "--journal", journal()};
        if (GetParam()) words.emplace_back("--to-standard");
        return tsport::run(words);
    }
    tsport::Answer undo() const { return tsport::run({"migrate", "--undo", journal()}); }

    // -- All that a migration may change

    static std::map<Text, spooler_sim::Printer> queues() {
        std::map<Text, spooler_sim::Printer> found;
        for (const Text name : {W("A"), W("B"), W("C"), W("D")}) {
            spooler_sim::Printer queue;
            if (spooler_sim::get_printer(name, queue)) found[name] = queue;
        }
        return found;
    }
    // As sorted lines: the queues' ports, the values of all ports as they are stored, and the ports of the spooler.
    static Lines world() {
        Lines lines;
        for (const auto& [name, queue] : queues()) lines.push_back(host::to_utf8(name + W(" -> ") + queue.port));
        add_values(contract::kMonitorKey, lines);
        add_values(W("SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Standard TCP/IP Port"), lines);
        std::vector<tsport::SpoolerPort> ports;
        EXPECT_EQ(tsport::Spooler().ports(ports), 0u);
        for (const tsport::SpoolerPort& port : ports) lines.push_back("listed: " + host::to_utf8(port.name));
        std::sort(lines.begin(), lines.end());
        return lines;
    }
    // A line for each port and each of its values: key, value, bytes.
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
                char data[512] = {};
                DWORD size = sizeof data;
                if (RegQueryValueExW(port, value, nullptr, nullptr, reinterpret_cast<BYTE*>(data), &size) != 0)
                    continue;
                lines.push_back(start + host::to_utf8(value) + "|" + std::string(data, size));
            }
            RegCloseKey(port);
            length = 256;
        }
        RegCloseKey(key);
    }

    // -- What has to hold

    // Each queue prints to its former port, or to one that is there as a whole, listed, and leads to the same printer;
    // all else of it is the same.
    void expect_queues_that_print() const {
        const Lines now = world();
        std::vector<tsport::migrate::StoredPort> ports;
        for (const auto kind : {tsport::migrate::Monitor::own, tsport::migrate::Monitor::standard}) {
            EXPECT_EQ(tsport::migrate::read_ports(kind, ports), 0u);
        }
        for (auto [name, found] : queues()) {
            const spooler_sim::Printer& queue = queues_.at(name);
            if (found.port != queue.port) {
                const Text address = queue.port == W("One") ? W("10.0.0.1") : W("10.0.0.2");
                EXPECT_TRUE(std::ranges::any_of(ports, [&,
                                                        &to = found.port](const tsport::migrate::StoredPort& stored) {
                    return stored.reason.empty() && stored.port.name == to && stored.port.address == address &&
                           stored.port.number == 9100;
                })) << host::to_utf8(found.port);
                EXPECT_TRUE(std::ranges::binary_search(now, "listed: " + host::to_utf8(found.port)));
            }
            found.port = queue.port;
            EXPECT_EQ(found, queue);
        }
    }
    int moved_queues() const {
        int moved = 0;
        for (const auto& [name, queue] : queues()) moved += queue.port != queues_.at(name).port ? 1 : 0;
        return moved;
    }
    static int moved_rows(const std::string& answer) {
        int moved = 0;
        for (size_t at = 0; (at = answer.find("  moved\n", at)) != std::string::npos; ++at) ++moved;
        return moved;
    }
    void expect_undone() {
        const tsport::Answer answer = undo();
        EXPECT_EQ(answer.status, tsport::done) << answer.out << answer.err;
        EXPECT_EQ(world(), before_);
        EXPECT_EQ(queues(), queues_);
    }

    std::string journal_folder;
    std::map<Text, spooler_sim::Printer> queues_;
    Lines before_;
};

// Not every call, unless EVERY_CALL is set.
std::uint64_t step_of(std::uint64_t usual) {
    return std::getenv("EVERY_CALL") != nullptr ? 1 : usual;
}

TEST_P(MigrateFaults, AFailureAtAnyCallLosesNoQueue) {
    const std::uint64_t step = step_of(5);
    for (const Mode mode : {Mode::once, Mode::from_then_on}) {
        for (const bool undoing : {false, true}) {
            std::uint64_t counted = 0;
            fs::remove(path_of(journal()));
            for (std::uint64_t call = 1; counted + step >= call; call += step) {
                SCOPED_TRACE((undoing ? "undo, call " : "apply, call ") + std::to_string(call) +
                             (mode == Mode::once ? " once" : " and all later ones"));
                const tsport::Answer before = undoing ? apply() : tsport::Answer();
                ASSERT_EQ(before.status, tsport::done) << before.err;
                winapi::fault::arm(call, mode);
                const tsport::Answer answer = undoing ? undo() : apply();
                counted = winapi::fault::disarm();
                SCOPED_TRACE(winapi::fault::failed_function());
                expect_queues_that_print();
                // Success is what is said, even where less than usual was done.
                const bool as_said = undoing ? world() == before_ : moved_queues() == moved_rows(answer.out);
                EXPECT_TRUE(answer.status != tsport::done || as_said) << answer.out << testing::PrintToString(world());
                EXPECT_TRUE(answer.status == tsport::done || !answer.err.empty());
                expect_undone();
                fs::remove(path_of(journal()));  // reading a longer one takes more calls
                if (HasFailure()) return;
            }
            EXPECT_GT(counted, 50u);
        }
    }
}

// What follows the kill, in the process that is killed: there its queues, ports and registry are.
std::function<void()> after_kill;

TEST_P(MigrateFaults, AKillAtAnyCallLosesNoQueue) {
    after_kill = [this] {
        fs::remove(path_of(journal() + ".lock"));  // which nobody holds any more
        monitor.unload();
        spooler_sim::restart_standard_monitor();
        load();
        expect_queues_that_print();
        if (fs::exists(path_of(journal()))) expect_undone();
        EXPECT_EQ(world(), before_);
    };
    winapi::fault::set_end([] {
        after_kill();
        _exit(HasFailure() ? 1 : 0);
    });
    constexpr int not_killed = 2;
    int moments = 0;
    int status = 0;
    for (std::uint64_t call = 1; status != not_killed; call += step_of(3), ++moments) {
        SCOPED_TRACE(call);
        fs::remove(path_of(journal()));  // reading a longer one takes more calls
        const pid_t child = fork();
        if (child == 0) {
            winapi::fault::arm(call, Mode::end);
            apply();
            _exit(not_killed);
        }
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status)) << status;
        status = WEXITSTATUS(status);
        ASSERT_NE(status, 1);
    }
    EXPECT_GT(moments, 100);
}

// Nor where what is stored of it cannot be read.
TEST_P(MigrateFaults, APortThatWasChangedSinceIsNeverDeleted) {
    ASSERT_EQ(apply().status, tsport::done);
    for (const auto& [name, queue] : queues_) {
        spooler_sim::remove_printer(name);
        spooler_sim::add_printer(queue);
    }
    for (const std::string& line : world()) {
        const size_t value = line.find("|PortNumber|");
        if (value == std::string::npos || std::ranges::binary_search(before_, line)) continue;
        HKEY key = nullptr;
        const BYTE one[4] = {1};
        EXPECT_EQ(
            RegOpenKeyExW(HKEY_LOCAL_MACHINE, host::to_text(line.substr(0, value)).c_str(), 0, KEY_ALL_ACCESS, &key),
            0);
        EXPECT_EQ(RegSetValueExW(key, W("PortNumber"), 0, REG_DWORD, one, sizeof one), 0);
        RegCloseKey(key);
    }
    const Lines changed = world();
    std::uint64_t counted = 0;
    for (std::uint64_t call = 1; call <= counted + 1 && !HasFailure(); ++call) {
        winapi::fault::arm(call, Mode::once);
        EXPECT_NE(undo().status, tsport::done);
        counted = winapi::fault::disarm();
        EXPECT_EQ(world(), changed) << call << ": " << winapi::fault::failed_function();
    }
    EXPECT_GT(counted, 20u);
}

INSTANTIATE_TEST_SUITE_P(BothWays, MigrateFaults, testing::Bool());

}  // namespace
}  // namespace test
