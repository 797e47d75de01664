// A migration in which every call fails, one after the other, and one that is killed at every call: each queue keeps a
// port that leads to its printer, and all is put back.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <functional>

#include "tests/support/migration.h"
#include "winapi/linux/fault.h"

namespace test {
namespace {

using winapi::fault::Mode;

class MigrateFaults : public Migration {
  protected:
    MigrateFaults() {
        add_standard_port({W("One"), W("10.0.0.1"), W("")});
        add_standard_port({W("Two, left"), W("10.0.0.2"), W("")});
        add_standard_port({W("LPR"), W("10.0.0.3"), W(""), 515, 2});
        add_queue(W("A"), W("One"), PRINTER_STATUS_PAUSED);
        add_queue(W("B"), W("One"));
        add_queue(W("C"), W("Two, left"), 0, PRINTER_ATTRIBUTE_SHARED);
        add_queue(W("D"), W("LPR"));
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

    // Each queue prints to its former port, or to one of the monitor with the same printer; all else of it is the same.
    void expect_queues_that_print() const {
        const World now = world();
        for (auto [name, queue] : before_.queues) {
            const spooler_sim::Printer& found = now.queues.at(name);
            if (found.port != queue.port) {
                const std::string line =
                    host::to_utf8(found.port) + (queue.port == W("One") ? "|10.0.0.1|9100" : "|10.0.0.2|9100");
                EXPECT_NE(std::find(now.ports.begin(), now.ports.end(), line), now.ports.end()) << line;
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
        if (run({"--undo", journal()}).status !=
            tsport::done) {  // as it says then, once the spooler has been restarted
            monitor.unload();
            load();
        }
        const tsport::Answer answer = run({"--undo", journal()});
        EXPECT_EQ(answer.status, tsport::done) << answer.out << answer.err;
        EXPECT_EQ(world(), before_);
    }

    World before_;
};

// Every 17th call; all of them when EVERY_CALL is set.
TEST_F(MigrateFaults, AFailureAtAnyCallLosesNoQueue) {
    const std::uint64_t step = std::getenv("EVERY_CALL") != nullptr ? 1 : 17;
    for (const Mode mode : {Mode::once, Mode::from_then_on}) {
        for (const bool undoing : {false, true}) {
            std::uint64_t counted = 0;
            fs::remove(path_of(journal()));
            for (std::uint64_t call = 1; counted + step >= call; call += step) {
                SCOPED_TRACE((undoing ? "undo, call " : "apply, call ") + std::to_string(call) +
                             (mode == Mode::once ? " once" : " and all later ones"));
                const tsport::Answer before = undoing ? run({"--apply"}) : tsport::Answer();
                ASSERT_EQ(before.status, tsport::done) << before.err;
                winapi::fault::arm(call, mode);
                tsport::Answer answer{tsport::refused, "", "ended"};
                try {
                    answer = undoing ? run({"--undo", journal()}) : run({"--apply"});
                } catch (const std::exception&) {  // a table cannot be made of names that cannot be converted
                }
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

TEST_F(MigrateFaults, AKillAtAnyCallLosesNoQueue) {
    // What is outside of the program that is killed: the spooler's queues and the registry.
    const std::string state_file = folder.install + "/state";
    write_state = [&] {
        std::ofstream state(state_file);
        const World now = world();
        for (const auto& [name, queue] : now.queues) state << host::to_utf8(queue.port) << "\n";
        for (const std::string& port : now.ports) state << port << "\n";
    };
    winapi::fault::set_end([] {
        write_state();
        raise(SIGKILL);
    });
    int moments = 0;
    for (std::uint64_t call = 1;; call += 2) {
        SCOPED_TRACE(call);
        const pid_t child = fork();
        if (child == 0) {
            winapi::fault::arm(call, Mode::end);
            run({"--apply"});
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
        for (std::string line; std::getline(state, line);) {
            const size_t bar = line.find('|');
            const size_t second = line.find('|', bar + 1);
            host::store_port(host::to_text(line.substr(0, bar)), host::to_text(line.substr(bar + 1, second - bar - 1)),
                             static_cast<DWORD>(std::stoul(line.substr(second + 1))));
        }
        load();
        expect_queues_that_print();
        if (fs::exists(path_of(journal()))) expect_undone();
        fs::remove(path_of(journal()));  // reading a longer one takes more calls
        EXPECT_EQ(world(), before_);
        if (HasFailure()) return;
    }
    EXPECT_GT(moments, 100);
}

}  // namespace
}  // namespace test
