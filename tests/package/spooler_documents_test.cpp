// Documents through Wine's spooler: what arrives outside, what the log says, what is left, and what the spooler and the
// program that prints are told.
#include <future>
#include <thread>

#include "tests/package/spooler_server.h"
#include "tools/peer/pattern.h"

namespace test {
namespace {

using peer::pattern;

class Documents : public SpoolerServer {
  protected:
    void expect_nothing_left() const {
        for (const char* const name : {"forceattr", "notapprovedjobs", "hpc", "activejobs"}) {
            EXPECT_EQ(files_in(name), Lines()) << name;
        }
    }
    void expect_no_error() const { EXPECT_EQ(logged(" ERROR"), 0) << log(); }
    static std::string number(DWORD value) { return std::to_string(value); }
};

TEST_F(Documents, EverySizeArrivesInTheSpoolersOrderOfCalls) {
    start();
    Lines calls;
    for (const size_t size : {0, 1, 4096, 4097, 100000}) {
        SCOPED_TRACE(size);
        const std::string data = pattern(size);
        const Outcome outcome = printing::print(first().queue, data);
        ASSERT_TRUE(is_printed(outcome));
        EXPECT_TRUE((first().printer.next() == Arrival{data, "finished"}));
        calls.push_back("TSM Open Port: " + host::to_utf8(first().port));
        calls.push_back("TSM Start Doc Port - pFullPrinterName: \"" + host::to_utf8(first().queue) +
                        "\", JobId: " + number(outcome.job) + ", Version: " TSM_VERSION " (Tessaron)");
        for (size_t left = size; left != 0; left -= std::min<size_t>(left, 4096)) {
            calls.push_back("TSM Write Port: buf count = " + std::to_string(std::min<size_t>(left, 4096)));
        }
        for (const char* const call : {"TSM End Doc Port", "TSM End Doc Port completed - return 1", "TSM ClosePort"}) {
            calls.emplace_back(call);
        }
    }
    EXPECT_EQ(messages({"TSM Open Port", "TSM Start Doc Port - pFull", "TSM Write Port: buf", "TSM End Doc Port",
                        "TSM ClosePort"}),
              calls);
    expect_nothing_left();
    expect_no_error();
}

TEST_F(Documents, ALargeOneArrives) {
    start({});
    const std::string data = pattern(64 << 20);
    expect_prints(second(), data);
    expect_no_error();
}

}  // namespace
}  // namespace test
