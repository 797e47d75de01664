// A migration in which every call fails, one after the other, and one that is killed at every call: each queue keeps a
// port that leads to its printer, and all is put back.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <functional>

#include "tests/support/migration.h"
#include "tsport/migrate/stored_ports.h"
#include "winapi/linux/fault.h"

namespace test {
namespace {

using winapi::fault::Mode;

// Forward and, when the parameter is true, back.
class MigrateFaults : public Migration, public testing::WithParamInterface<bool> {
  protected:
    MigrateFaults() {
        if (!GetParam()) {
            add_standard_port({W("One"), W("10.0.0.1"), W("")});
            add_standard_port({W("Two, left"), W("10.0.0.2"), W("")});
            add_standard_port({W("LPR"), W("10.0.0.3"), W(""), 515, 2});
        } else {
            host::store_port(W("One"), W("10.0.0.1"), 9100);
            host::store_port(W("Two, left"), W("10.0.0.2"), 9100);
            add_standard_port({W("Former"), W("10.0.0.2"), W("")});
        }
        add_queue(W("A"), W("One"), PRINTER_STATUS_PAUSED);
        add_queue(W("B"), W("One"));
        add_queue(W("C"), W("Two, left"), 0, PRINTER_ATTRIBUTE_SHARED);
        if (!GetParam()) add_queue(W("D"), W("LPR"));
        load();
        before_ = world();
        // Where a flush costs nothing, if there is such a place.
        const std::string memory = "/dev/shm/migrate-" + std::to_string(getpid());
        std::error_code error;
        if (fs::create_directory(memory, error)) journal_folder = memory;
    }
    ~MigrateFaults() override {
        if (journal_folder != folder.install) fs::remove_all(journal_folder);
    }

    tsport::Answer apply() const { return run(GetParam() ? Lines{"--to-standard", "--apply"} : Lines{"--apply"}); }

    // Each queue prints to its former port, or to one that is there as a whole, listed, and leads to the same printer;
    // all else of it is the same.
    void expect_queues_that_print() const {
        const World now = world();
        std::vector<tsport::migrate::StoredPort> ports;
        for (const auto kind : {tsport::migrate::Monitor::own, tsport::migrate::Monitor::standard}) {
            EXPECT_EQ(tsport::migrate::read_ports(kind, ports), 0u);
        }
        for (auto [name, queue] : before_.queues) {
            const spooler_sim::Printer& found = now.queues.at(name);
            if (found.port != queue.port) {
                const Text address = queue.port == W("One") ? W("10.0.0.1") : W("10.0.0.2");
                EXPECT_TRUE(std::ranges::any_of(ports, [&](const tsport::migrate::StoredPort& stored) {
                    return stored.reason.empty() && stored.port.name == found.port && stored.port.address == address &&
                           stored.port.number == 9100;
                })) << host::to_utf8(found.port);
                EXPECT_TRUE(std::ranges::binary_search(now.listed, host::to_utf8(found.port)));
            }
            queue.port = found.port;
            EXPECT_EQ(found, queue);
        }
    }
    int moved_queues() const {
        int moved = 0;
        for (const auto& [name, queue] : world().queues) moved += queue.port != before_.queues.at(name).port ? 1 : 0;
        return moved;
    }
    static int moved_rows(const std::string& answer) {
        int moved = 0;
        for (size_t at = 0; (at = answer.find("  moved\n", at)) != std::string::npos; ++at) ++moved;
        return moved;
    }
    void expect_undone() {
        const tsport::Answer answer = run({"--undo", journal()});
        EXPECT_EQ(answer.status, tsport::done) << answer.out << answer.err;
        EXPECT_EQ(world(), before_);
    }

    World before_;
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
                const tsport::Answer answer = undoing ? run({"--undo", journal()}) : apply();
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

// Of the program that is killed.
std::function<void()> write_state;

TEST_P(MigrateFaults, AKillAtAnyCallLosesNoQueue) {
    // What is outside of the program that is killed: the spooler's queues and ports, and the registry.
    const std::string state_file = folder.install + "/state";
    write_state = [&] {
        std::ofstream state(state_file);
        const World now = world();
        for (const auto& [name, queue] : now.queues) state << host::to_utf8(queue.port) << "\n";
        for (const std::string& line : now.registry) state << line << "\n";
    };
    winapi::fault::set_end([] {
        write_state();
        raise(SIGKILL);
    });
    int moments = 0;
    for (std::uint64_t call = 1;; call += step_of(3)) {
        SCOPED_TRACE(call);
        const pid_t child = fork();
        if (child == 0) {
            winapi::fault::arm(call, Mode::end);
            apply();
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        if (WIFEXITED(status)) break;
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
        ++moments;
        monitor.unload();
        std::ifstream state(state_file);
        for (const auto& [name, queue] : before_.queues) {
            std::string port;
            ASSERT_TRUE(std::getline(state, port));
            give(name, host::to_text(port));
        }
        for (std::string line; std::getline(state, line);) restore_value(line);
        spooler_sim::restart_standard_monitor();
        load();
        expect_queues_that_print();
        if (fs::exists(path_of(journal()))) expect_undone();
        fs::remove(path_of(journal()));  // reading a longer one takes more calls
        EXPECT_EQ(world(), before_);
        if (HasFailure()) return;
    }
    EXPECT_GT(moments, 100);
}

// Nor where what is stored of it cannot be read.
TEST_P(MigrateFaults, APortThatWasChangedSinceIsNeverDeleted) {
    ASSERT_EQ(apply().status, tsport::done);
    for (const auto& [name, queue] : before_.queues) give(name, queue.port);
    for (const std::string& line : world().registry) {
        const size_t value = line.find("|PortNumber|");
        const bool is_new = !std::ranges::binary_search(before_.registry, line);
        if (value != std::string::npos && is_new) restore_value(line.substr(0, value) + "|PortNumber|4|1 0 0 0 ");
    }
    const Lines changed = world().registry;
    std::uint64_t counted = 0;
    for (std::uint64_t call = 1; call <= counted + 1 && !HasFailure(); ++call) {
        winapi::fault::arm(call, Mode::once);
        EXPECT_NE(run({"--undo", journal()}).status, tsport::done);
        counted = winapi::fault::disarm();
        EXPECT_EQ(world().registry, changed) << call << ": " << winapi::fault::failed_function();
    }
    EXPECT_GT(counted, 20u);
}

INSTANTIATE_TEST_SUITE_P(BothWays, MigrateFaults, testing::Bool());

}  // namespace
}  // namespace test
