// Printers that go away in the middle of a document.
#include "tests/support/print_server.h"

namespace test {
namespace {

class LostPrinter : public PrintServer {
  protected:
    LostPrinter() { broken.reset_after = 100000; }
    // Writes until the monitor refuses a buffer.
    bool write_until_refused(HANDLE port) {
        const std::string block = pattern(65536);
        for (int i = 0; i < 10000; ++i) {
            if (!write(port, block)) return written == 0;
        }
        return false;
    }
    peer::Behaviour broken;
};

TEST_F(LostPrinter, TheRestartedJobArrivesWhole) {
    start();
    office->behave_once(broken);

    const std::string data = pattern(8 << 20);
    const host::Outcome outcome = print(W("Office"), data);
    EXPECT_EQ(outcome.result, host::Result::printed) << outcome.words;
    EXPECT_EQ(outcome.restarts, 1u);
    // The lost connection, the probe that found the printer back, and the job's second course.
    ASSERT_TRUE(office->wait_for_ends(3));
    EXPECT_EQ(office->connection(1).bytes, 0u);
    EXPECT_TRUE(office->connection(2).data == data);
    EXPECT_EQ(logged("TSM Write Port: failed to send data to printer, close connection", "ERROR"), 1);
    EXPECT_EQ(logged("TSM: Write Port: invalid socket but reestablished connection and requested restart"), 1);
}

TEST_F(LostPrinter, TheRestartIsAskedByTheCallAfterTheLoss) {
    start();
    office->behave_once(broken);
    const HANDLE port = begin_document(5);
    ASSERT_TRUE(write_until_refused(port));
    EXPECT_TRUE(job(5).commands.empty()) << "the call that loses the connection asks for nothing";

    office->refuse();
    written = 77;
    EXPECT_FALSE(write(port, "x"));
    EXPECT_EQ(written, 77u) << "without a connection the count is not set";
    EXPECT_TRUE(job(5).commands.empty());
    EXPECT_EQ(logged("TSM: Write Port: failed to reconnect"), 1);

    office->listen();
    EXPECT_FALSE(write(port, "x"));
    EXPECT_EQ(job(5).commands, std::vector<DWORD>{JOB_CONTROL_RESTART});
    spooler_sim::remove_job(W("Office"), 5);
    for (int i = 0; i < 2; ++i) EXPECT_FALSE(write(port, "x"));
    EXPECT_EQ(logged("TSM Write Port: the spooler refused to restart job 5", "ERROR"), 1);
    EXPECT_EQ(logged("TSM Write Port: the spooler refused to restart job 5", "DEBUG"), 1);
    EXPECT_TRUE(monitor.end_document(port));
    EXPECT_TRUE(monitor.close_port(port));
}

TEST_F(LostPrinter, ASecondLossOfTheSameJobGoesToTheDebugLog) {
    start();
    office->behave_once(broken);
    office->behave_once(peer::Behaviour());  // the probe
    office->behave_once(broken);
    const host::Outcome outcome = print(W("Office"), pattern(8 << 20));
    EXPECT_EQ(outcome.result, host::Result::printed) << outcome.words;
    EXPECT_EQ(outcome.restarts, 2u);
    EXPECT_EQ(logged("failed to send data to printer, close connection", "ERROR"), 1);
    EXPECT_EQ(logged("failed to send data to printer, close connection", "DEBUG"), 1);
}

}  // namespace
}  // namespace test
