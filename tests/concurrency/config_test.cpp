// Ports are configured while documents print on them.
#include <atomic>
#include <thread>

#include "tests/support/port_admin.h"

namespace test {
namespace {

class ConfigureWhilePrinting : public PortAdmin {
  protected:
    static constexpr int kThreads = 8;
    static constexpr int kDocuments = 12;

    ConfigureWhilePrinting() : printers_{peer::TcpPrinter(at("127.0.0.1")), peer::TcpPrinter(at("127.0.0.2"))} {}

    static peer::TcpPrinter::Options at(const char* address) {
        peer::TcpPrinter::Options options;
        options.address = address;
        return options;
    }
    static Text name(const char* prefix, int index) { return host::to_text(prefix + std::to_string(index)); }
    // Leads to one of the two printers. Neither listens at the other's address: a mixture of the two reaches nobody.
    PortConfig leading_to(const Text& port, size_t printer) const {
        return config(port, host::to_text(printers_[printer].address()), printers_[printer].port());
    }
    bool is_whole(const PortConfig& config) const {
        const Text port = tsmon::FieldText(config.port_name).text;
        return same(config, leading_to(port, 0)) || same(config, leading_to(port, 1));
    }
    static bool same(const PortConfig& left, const PortConfig& right) {
        return memcmp(&left, &right, sizeof left) == 0;
    }

    // A name counts as taken, too, while the spooler's list grows between the two looks at it.
    void add(const PortConfig& config) {
        DWORD code = 183;
        for (int attempt = 0; attempt < 1000 && code == 183; ++attempt) code = send(W("TSAddPort"), config);
        EXPECT_EQ(code, 0u);
    }

    // One administrator's round: changes and renews a port that prints, and quarrels with the others about one name.
    void administrate(int index, size_t round) {
        const Text printing = name("printing ", index);
        const Text own = name("own ", index);
        if (round % 5 == 4) {
            EXPECT_EQ(send(W("TSDeletePort"), printing), 0u);
            add(leading_to(printing, round % 2));
        }
        EXPECT_EQ(send(W("TSConfigPort"), leading_to(printing, round % 2)), 0u);
        add(leading_to(own, 0));
        EXPECT_EQ(send(W("TSPortExists"), own, 0), 183u);
        const DWORD added = send(W("TSAddPort"), leading_to(W("contested"), 0));
        EXPECT_TRUE(added == 0 || added == 183) << added;
        for (int other = 0; other < kThreads; ++other) {
            PortConfig read = {};
            const DWORD code = get(name("printing ", other), read);
            EXPECT_TRUE(code == 87 || (code == 0 && is_whole(read))) << code;
        }
        const DWORD deleted = send(W("TSDeletePort"), Text(W("CONTESTED")));
        EXPECT_TRUE(deleted == 0 || deleted == 2) << deleted;
        EXPECT_EQ(send(W("TSDeletePort"), own), 0u);
    }

    // Documents that were printed; a port that is not there at that moment prints none.
    int print_on(int index, const std::string& data) {
        int printed = 0;
        for (int n = 0; n < kDocuments; ++n) {
            host::Document made = document(W("Printer"), host::memory_source(data), 4096);
            made.port = name("printing ", index);
            const host::Outcome outcome = monitor.print_document(made);
            if (outcome.result == host::Result::printed) {
                ++printed;
            } else {
                EXPECT_NE(outcome.words.find("has no port"), std::string::npos) << outcome.words;
            }
        }
        return printed;
    }

    peer::TcpPrinter printers_[2];
};

TEST_F(ConfigureWhilePrinting, NothingTears) {
    configure({});
    spooler_sim::add_printer(W("Printer"));
    spooler_sim::add_foreign_port(W("LPT1:"));
    ASSERT_EQ(printers_[0].error() + printers_[1].error(), "");
    load();
    for (int i = 0; i < kThreads; ++i) ASSERT_EQ(send(W("TSAddPort"), leading_to(name("printing ", i), 0)), 0u);

    const std::string data = pattern(20000);
    std::atomic<int> printing{kThreads};
    std::atomic<int> printed{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            printed += print_on(i, data);
            --printing;
        });
        threads.emplace_back([&, i] {
            for (size_t round = 0; round < 10 || printing != 0; ++round) administrate(i, round);
        });
    }
    for (std::thread& thread : threads) thread.join();

    EXPECT_GT(printed, 0);
    size_t arrived = 0;
    for (peer::TcpPrinter& printer : printers_) {
        const size_t count = printer.connections();
        ASSERT_TRUE(printer.wait_for_ends(count));
        for (size_t i = 0; i < count; ++i) EXPECT_TRUE(printer.connection(i).data == data);
        EXPECT_GT(count, 0u) << printer.address();
        arrived += count;
    }
    EXPECT_EQ(arrived, static_cast<size_t>(printed));
    expect_agreement();
    EXPECT_EQ(listed().size(), static_cast<size_t>(kThreads));
    const Lines before = stored();
    restart();
    EXPECT_EQ(listed(), before);
}

}  // namespace
}  // namespace test
