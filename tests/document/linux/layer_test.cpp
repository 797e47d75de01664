// What only the layer shows of a document: the debugger's output, a name with several addresses.
#include <atomic>

#include "tests/support/print_server.h"
#include "winapi/linux/control.h"

namespace test {
namespace {

class Layer : public PrintServer {};

// Until the settings have been read a start tells the debugger everything.
TEST_F(Layer, AStartThatFindsNoSettingsYetIsTold) {
    static std::atomic<int> looked_up;
    looked_up = 0;
    winapi::set_debugger([](const char* text) {
        if (std::string(text).starts_with("TSM: looking up registry path: ")) ++looked_up;
    });
    start({});
    winapi::set_debugger(nullptr);
    EXPECT_EQ(looked_up, 1);
}

TEST_F(Layer, ARefusedFirstAddressIsFollowedByTheNext) {
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
