// Ports print in parallel.
#include <thread>

#include "tests/support/print_server.h"

namespace test {
namespace {

class Ports : public PrintServer {};

TEST_F(Ports, SixtyFourPrintAtOnce) {
    constexpr int kPorts = 64;
    constexpr int kDocuments = 3;
    configure({"Debug=on", "IsPrintingBasedOnPortMonitor=on"});
    std::vector<peer::TcpPrinter*> printers;
    std::vector<Text> names;
    for (int i = 0; i < kPorts; ++i) {
        names.push_back(W("port ") + host::to_text(std::to_string(100 + i)));
        printers.push_back(&add_printer(names.back()));
    }
    load();

    const std::string data = pattern(150000);
    std::vector<std::thread> threads;
    for (int i = 0; i < kPorts; ++i) {
        threads.emplace_back([&, i] {
            for (int n = 0; n < kDocuments; ++n) {
                const std::string own = data.substr(static_cast<size_t>(i), static_cast<size_t>(100000 + n));
                const host::Outcome outcome = print(names[static_cast<size_t>(i)], own, 20000);
                EXPECT_EQ(outcome.result, host::Result::printed) << outcome.words;
                EXPECT_TRUE(outcome.identity_kept);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (int i = 0; i < kPorts; ++i) {
        ASSERT_TRUE(printers[static_cast<size_t>(i)]->wait_for_ends(kDocuments));
        for (int n = 0; n < kDocuments; ++n) {
            EXPECT_TRUE(printers[static_cast<size_t>(i)]->connection(static_cast<size_t>(n)).data ==
                        data.substr(static_cast<size_t>(i), static_cast<size_t>(100000 + n)));
        }
    }
    EXPECT_EQ(logged("TSM ClosePort"), kPorts * kDocuments);
}

}  // namespace
}  // namespace test
