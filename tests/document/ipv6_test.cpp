// Printers with IPv6 addresses, and names that have addresses of both families.
#include <optional>

#include "tests/support/print_server.h"
#include "tsport/run.h"

namespace test {
namespace {

class Ipv6 : public PrintServer {
  protected:
    void SetUp() override {
        // The same number in both families; another program may have it in one.
        for (int attempt = 0; attempt < 10 && !(four && four->error().empty()); ++attempt) {
            six.emplace(test_printer::TcpPrinter::Options{.address = "::1"});
            if (!six->error().empty()) GTEST_SKIP() << "this machine has no address ::1: " << six->error();
            four.emplace(test_printer::TcpPrinter::Options{.port = six->port()});
        }
        ASSERT_EQ(four->error(), "");
        configure({"Debug=on"});
        ASSERT_TRUE(host::store_port(W("Both"), W("printer.example"), six->port()));
        spooler_sim::add_printer(W("Both"));
        load();
    }
    ~Ipv6() override { set_host(W("printer.example"), {}); }

    std::optional<test_printer::TcpPrinter> six;
    std::optional<test_printer::TcpPrinter> four;
};

TEST_F(Ipv6, TheAddressesOfANameAreTriedInTheirOrder) {
    char refused_six[64];
    snprintf(refused_six, sizeof refused_six, "TSM: addr = 0x%x 0x%x 0 0 0 0", six->port() >> 8, six->port() & 0xFF);
    const struct {
        Lines addresses;
        bool six_listens;
        const test_printer::TcpPrinter& reached;
        int refusals;
    } rows[] = {{{"::1", "127.0.0.1"}, true, *six, 0},
                {{"127.0.0.1", "::1"}, true, *four, 0},
                {{"::1", "127.0.0.1"}, false, *four, 1}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.addresses));
        set_host(W("printer.example"), row.addresses);
        if (!row.six_listens) six->refuse();
        const size_t six_before = six->connections();
        const size_t four_before = four->connections();
        EXPECT_EQ(print(W("Both"), "page").result, host::Result::printed);
        EXPECT_EQ(six->connections() - six_before, &row.reached == &*six ? 1u : 0u);
        EXPECT_EQ(four->connections() - four_before, &row.reached == &*four ? 1u : 0u);
        EXPECT_EQ(logged("TSM: Failed to connect to printer: printer.example", "ERROR"), row.refusals);
        EXPECT_EQ(logged(refused_six, "ERROR"), row.refusals);
    }
}

TEST_F(Ipv6, ToolsTestItsPorts) {
    set_host(W("printer.example"), {"::1", "127.0.0.1"});
    const std::string number = std::to_string(six->port());
    const std::string store = folder.install + "/ports";
    ASSERT_TRUE(write_file(path_of(store), "Six ::1 " + number + "\nBoth printer.example " + number + "\n"));
    const auto findings = [&] {
        const std::string out = tsport::run({"doctor", "--base", folder.install, "--store", store, "--json"}).out;
        Lines found;
        for (const char* const id : {"ports.refused", "ports.odd-address", "ports.unknown-host", "ports.no-answer"}) {
            for (size_t at = 0; (at = out.find(id, at)) != std::string::npos; ++at) found.emplace_back(id);
        }
        return found;
    };
    EXPECT_EQ(tsport::run({"test", "::1", number}).out, "::1 port " + number + " accepts connections\n");
    EXPECT_EQ(findings(), Lines());
    EXPECT_EQ(tsport::run({"test", "[::1]:" + number, number}).err,
              "tsport: an address is written without brackets; type ::1 " + number + "\nTry tsport --help.\n");
    six->refuse();
    EXPECT_EQ(tsport::run({"test", "::1", number}).status, tsport::not_there);
    EXPECT_EQ(findings(), Lines{"ports.refused"}) << "the name's other address accepts";
}

}  // namespace
}  // namespace test
