// Printers that go away in the middle of a document.
#include "tests/support/print_server.h"

namespace test {
namespace {

class LostPrinter : public PrintServer {
  protected:
    // Writes until the monitor refuses a buffer.
    bool write_until_refused(HANDLE port) {
        const std::string block = pattern(65536);
        for (int i = 0; i < 10000; ++i) {
            DWORD written = 0;
            if (!monitor.write(port, block.data(), static_cast<DWORD>(block.size()), written)) {
                EXPECT_EQ(written, 0u);
                return true;
            }
        }
        return false;
    }
    static spooler_sim::Job job(DWORD id) {
        spooler_sim::Job found;
        EXPECT_TRUE(spooler_sim::get_job(W("Office"), id, found));
        return found;
    }
};

TEST_F(LostPrinter, TheRestartedJobArrivesWhole) {
    configure_with_debug();
    peer::TcpPrinter& printer = add_printer(W("Office"));
    peer::Behaviour broken;
    broken.reset_after = 300000;
    printer.behave_once(broken);
    ASSERT_TRUE(load()) << last_reason;

    const std::string data = pattern(8 << 20);
    const host::Outcome outcome = print(W("Office"), data);
    EXPECT_EQ(outcome.result, host::Result::printed) << outcome.words;
    EXPECT_EQ(outcome.restarts, 1u);
    // The lost connection, the probe that found the printer back, and the job's second course.
    ASSERT_TRUE(printer.wait_for_ends(3));
    EXPECT_EQ(printer.connection(1).bytes, 0u);
    EXPECT_TRUE(printer.connection(2).data == data);
    EXPECT_EQ(logged("TSM Write Port: failed to send data to printer, close connection", "ERROR"), 1);
    EXPECT_EQ(logged("TSM: Write Port: invalid socket but reestablished connection and requested restart"), 1);
}

TEST_F(LostPrinter, TheRestartIsAskedByTheCallAfterTheLoss) {
    configure_with_debug();
    peer::TcpPrinter& printer = add_printer(W("Office"));
    peer::Behaviour broken;
    broken.reset_after = 100000;
    printer.behave_once(broken);
    ASSERT_TRUE(load()) << last_reason;
    spooler_sim::add_job(W("Office"), 5, W("doc"), W("ann"));
    HANDLE port = nullptr;
    ASSERT_TRUE(monitor.open_port(W("Office"), port));
    ASSERT_TRUE(monitor.start_document(port, W("Office"), 5, W("doc")));

    ASSERT_TRUE(write_until_refused(port));
    EXPECT_TRUE(job(5).commands.empty()) << "the call that loses the connection asks for nothing";

    printer.refuse();
    DWORD written = 77;
    EXPECT_FALSE(monitor.write(port, "x", 1, written));
    EXPECT_EQ(written, 77u) << "without a connection the count is not set";
    EXPECT_TRUE(job(5).commands.empty());
    EXPECT_EQ(logged("TSM: Write Port: failed to reconnect"), 1);

    printer.listen();
    EXPECT_FALSE(monitor.write(port, "x", 1, written));
    EXPECT_EQ(job(5).commands, std::vector<DWORD>{JOB_CONTROL_RESTART});
    EXPECT_TRUE(monitor.end_document(port));
    EXPECT_TRUE(monitor.close_port(port));
}

TEST_F(LostPrinter, ASecondLossOfTheSameJobGoesToTheDebugLog) {
    configure_with_debug();
    peer::TcpPrinter& printer = add_printer(W("Office"));
    peer::Behaviour broken;
    broken.reset_after = 100000;
    printer.behave_once(broken);
    printer.behave_once(peer::Behaviour());  // the probe
    printer.behave_once(broken);
    ASSERT_TRUE(load()) << last_reason;
    const host::Outcome outcome = print(W("Office"), pattern(8 << 20));
    EXPECT_EQ(outcome.result, host::Result::printed) << outcome.words;
    EXPECT_EQ(outcome.restarts, 2u);
    EXPECT_EQ(logged("failed to send data to printer, close connection", "ERROR"), 1);
    EXPECT_EQ(logged("failed to send data to printer, close connection", "DEBUG"), 1);
}

}  // namespace
}  // namespace test
