// Printers that hold a document up; the layer's clock shortens the wait for them.
#include "tests/support/print_server.h"
#include "tests/support/reported.h"

namespace test {
namespace {

class StubbornPrinter : public PrintServer {
  protected:
    // Prints a page to a printer that behaves so, then one that follows; the first one's end takes 30 seconds.
    void expect_thirty_seconds(const peer::Behaviour& behaviour) {
        start({});
        office->behave_once(behaviour);
        {
            const FastClock clock(100);
            const DWORD begin = GetTickCount();
            EXPECT_EQ(print(W("Office"), "page").result, host::Result::printed);
            EXPECT_GE(GetTickCount() - begin, 30000u);
        }
        EXPECT_EQ(logged("TSM: timed out waiting to get the FD_CLOSE event on the socket", "ERROR"), 1);
        EXPECT_EQ(Reported(log()).named(), std::multiset<std::string>{"printer.no-close"}) << "and nothing else";
        EXPECT_EQ(print(W("Office"), "next page").result, host::Result::printed);
        ASSERT_TRUE(office->wait_for_connections(2));
        EXPECT_EQ(office->connection(0).data, "page");
        EXPECT_EQ(office->connection(1).data, "next page");
    }
};

TEST_F(StubbornPrinter, OneThatNeverCloses) {
    peer::Behaviour behaviour;
    behaviour.never_close = true;
    expect_thirty_seconds(behaviour);
}

// The monitor reads nothing, and a close counts only once everything before it has been read.
TEST_F(StubbornPrinter, OneThatSendsAStatusBeforeItCloses) {
    peer::Behaviour behaviour;
    behaviour.answer = "@PJL USTATUS JOB\r\n";
    expect_thirty_seconds(behaviour);
}

// It drops the connection once it has been handed everything: what it did with the end is unknown. Wine reports such
// a close without its error.
TEST_F(StubbornPrinter, ALossAfterTheLastByteLeavesALine) {
    for (const char* const debug : {"Debug=off", "Debug=on"}) {
        start({debug});
        peer::Behaviour late;
        late.reset_after = 20000;
        office->behave_once(late);
        const int before = logged("TSM: an error occured while waiting for FD_CLOSE event: 100", "ERROR");
        EXPECT_EQ(print(W("Office"), pattern(20000)).result, host::Result::printed);
        EXPECT_EQ(logged("TSM: an error occured while waiting for FD_CLOSE event: 100", "ERROR"), before + 1);
        EXPECT_EQ(print(W("Office"), pattern(20000)).result, host::Result::printed);
        EXPECT_EQ(logged("TSM: an error occured while waiting for FD_CLOSE event: ", "ERROR"), before + 1);
        monitor.unload();
    }
    const Reported reported(log());
    EXPECT_EQ(reported.named(), std::multiset<std::string>{"printer.broke-off"}) << reported.words;
    EXPECT_EQ(reported.report->sums.all().of(tsport::report::Trouble::broken_at_end), 2u);
}

// What one document shows as its cause stands out once it is the rule.
TEST_F(StubbornPrinter, OneThatNeverClosesStandsOutInTheReport) {
    start();
    peer::Behaviour behaviour;
    behaviour.never_close = true;
    office->behave(behaviour);
    const FastClock clock(100);
    print(W("Office"), "page");
    const Reported once(log());
    EXPECT_EQ(once.named(), std::multiset<std::string>{"printer.no-close"}) << once.words;
    EXPECT_EQ(once.documents[0]->outcome, tsport::report::Outcome::printed);
    EXPECT_GE(once.documents[0]->end_ms, 30000u);
    print(W("Office"), "page");
    const Reported twice(log());
    EXPECT_EQ(twice.named(), (std::multiset<std::string>{"printer.no-close", "printer.never-closes"})) << twice.words;
}

}  // namespace
}  // namespace test
