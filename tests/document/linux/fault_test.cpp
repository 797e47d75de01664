// Single calls that fail or fall short under a document; only the layer can make them.
#include "winapi/linux/fault.h"
#include "tests/support/print_server.h"
#include "winapi/linux/control.h"

namespace test {
namespace {

class Faults : public PrintServer {};

TEST_F(Faults, APartialSendIsReportedAndTheRestFollows) {
    start();
    const std::string data = pattern(200000);
    // Every call of the document in turn: those that are sends fall short.
    unsigned partial = 0;
    for (std::uint64_t call = 1; call < 400; ++call) {
        winapi::fault::arm(call, winapi::fault::Mode::short_count);
        const host::Outcome outcome = print(W("Office"), data);
        winapi::fault::disarm();
        const Lines data_of_call = arrived();
        const std::string failed = winapi::fault::failed_function();
        if (failed.empty()) break;
        if (failed != "send") continue;
        EXPECT_EQ(outcome.result, host::Result::printed) << outcome.words;
        EXPECT_EQ(outcome.partial_writes, 1u);
        partial += outcome.partial_writes;
        EXPECT_TRUE(data_of_call == Lines{data}) << "call " << call;
    }
    EXPECT_GE(partial, 4u);
}

TEST_F(Faults, ASocketsFailureStopsTheStart) {
    configure({});
    add_printer(W("Office"));
    for (std::uint64_t call = 1;; ++call) {
        winapi::fault::arm(call, winapi::fault::Mode::once);
        std::string why;
        const bool loaded = try_load(why);
        winapi::fault::disarm();
        const std::string failed = winapi::fault::failed_function();
        monitor.unload();
        if (failed.empty()) break;
        if (failed == "WSAStartup") {
            EXPECT_FALSE(loaded);
            EXPECT_EQ(logged("TSM: WSAStartup failed with error: ", "ERROR"), 1);
        }
    }
    EXPECT_EQ(winapi::misuses(), 0u);
    load();
    EXPECT_EQ(print(W("Office"), "page").result, host::Result::printed);
}

TEST_F(Faults, ARefusedFirstAddressIsFollowedByTheNext) {
    configure({"Debug=on"});
    winapi::set_host(u"printer.example", {"127.0.0.9", "127.0.0.1"});
    ASSERT_TRUE(host::store_port(W("Office"), W("printer.example"), add_printer(W("Office")).port()));
    load();
    EXPECT_EQ(print(W("Office"), "page").result, host::Result::printed);
    EXPECT_EQ(logged("TSM: Failed to connect to printer: printer.example", "ERROR"), 1);
    EXPECT_EQ(logged(" 127 0 0 9"), 1);
    winapi::set_host(u"printer.example", {});
}

}  // namespace
}  // namespace test
