// Helpers of many ports at once.
#include "tests/support/helper_script.h"

namespace test {
namespace {

class Helpers : public HelperServer {};

// None may inherit another's pipes: the end of its output would then wait for the other's exit.
TEST_F(Helpers, ThirtyTwoPortsWithAHelperEach) {
    constexpr int kPorts = 32;
    prepare({"LogRotateSizeKBytes=65536"});
    install_helper();
    std::vector<Text> names;
    std::vector<peer::TcpPrinter*> printers;
    for (int i = 0; i < kPorts; ++i) {
        const std::string name = "port " + std::to_string(100 + i);
        names.push_back(host::to_text(name));
        printers.push_back(&add_printer(names.back()));
        if (i % 2 == 0) check_hardware(name);
    }
    start_monitor();
    for (int i = 1; i < kPorts; i += 2)
        force_attributes("port " + std::to_string(100 + i), static_cast<DWORD>(100 + i));
    answer_by("on startdoc WAIT \"Door Open\" for 100 ms then OK\non forceattr OK then rewrite");
    const std::string data = pattern(300000);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < kPorts; ++i) {
        threads.emplace_back([&, i] {
            host::Document job = document(names[i], host::memory_source(data.substr(i)), 50000);
            job.job_id = static_cast<DWORD>(100 + i);
            const host::Outcome outcome = monitor.print_document(job);
            EXPECT_EQ(outcome.result, host::Result::printed) << outcome.words;
            EXPECT_TRUE(outcome.identity_kept);
            EXPECT_EQ(outcome.job.status_seen.size(), i % 2 == 0 ? 4u : 2u) << "held and released, or not";
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (size_t i = 0; i < kPorts; ++i) {
        ASSERT_TRUE(printers[i]->wait_for_ends(1));
        EXPECT_TRUE(printers[i]->connection(0).data == data.substr(i)) << i;
        EXPECT_EQ(spooler_sim::printer_status(names[i]), 0u);
    }
    EXPECT_EQ(work_files(), Lines{});
    heard();
    EXPECT_TRUE(fs::exists(run_folder(kPorts)) && !fs::exists(run_folder(kPorts + 1)));
    EXPECT_EQ(logged("CloseHandle failure"), 0);
    expect_clean();
}

}  // namespace
}  // namespace test
