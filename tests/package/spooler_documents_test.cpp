// Documents through Wine's spooler: what arrives outside, what the log says, what is left, and what the spooler and the
// program that prints are told.
#include <algorithm>
#include <future>
#include <list>
#include <map>

#include "tests/package/spooler_server.h"
#include "tests/support/platform.h"
#include "tools/peer/pattern.h"

namespace test {
namespace {

using peer::pattern;
using Commands = std::vector<printing::Command>;

const std::string head = "%!PS-Adobe-3.0\n%%Pages: 1\n";
const std::string page = "%%Page: 1 1\nshowpage\n";
const std::string request = "<< /Duplex true /Tumble false /NumCopies 2 >> setpagedevice\n";  // of the helper

class Documents : public SpoolerServer {
  protected:
    void expect_nothing_left() const {
        for (const char* const name : {"forceattr", "notapprovedjobs", "hpc", "activejobs"}) {
            EXPECT_EQ(files_in(name), Lines()) << name;
        }
    }
    Outcome print_unapproved(const Place& place, const std::string& data) const {
        return printing::print(place.queue, data, [&](DWORD job) { write_file(path_of(folder.marker(job)), ""); });
    }
    Outcome print_forced(const Place& place, const std::string& data) {
        return printing::print(place.queue, data, [&](DWORD job) { force_attributes(place, job); });
    }
};

Commands command(const Outcome& outcome, DWORD command) {
    return {{outcome.job, 0, command, TRUE}};
}

std::string number(DWORD value) {
    return std::to_string(value);
}

TEST_F(Documents, EverySizeArrivesAndTheCallsKeepTheirOrder) {
    start();
    Lines calls;
    for (const size_t size : std::initializer_list<size_t>{0, 1, 4096, 4097, 100000}) {
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
        calls.insert(calls.end(), {"TSM End Doc Port", "TSM End Doc Port completed - return 1", "TSM ClosePort"});
    }
    EXPECT_EQ(messages({"TSM Open Port", "TSM Start Doc Port - pFull", "TSM Write Port: buf", "TSM End Doc Port",
                        "TSM ClosePort"}),
              calls);
    expect_nothing_left();
    EXPECT_EQ(errors(), Lines());
}

TEST_F(Documents, AnOpenDoorHoldsOneAndNoOther) {
    start({"Debug=on", "ErrorPollMethod=snmp"});
    check_hardware(third());
    answer_by("on startdoc WAIT \"Door Open\" until closed then WAIT then OK");
    auto held = std::async(std::launch::async, [] { return printing::print(third().queue, page); });
    ASSERT_TRUE(wait_until([this] { return logged("TSM: extracted wait error string = \"Door Open\"") == 1; }));
    expect_prints(second(), "meanwhile");
    EXPECT_EQ(held.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    EXPECT_EQ(logged("TSM: get addr for"), 1) << "the held one is connected already";

    write_file(base() / "closed", "");
    const Outcome outcome = held.get();
    ASSERT_TRUE(is_printed(outcome));
    EXPECT_TRUE((third().printer.next() == Arrival{page, "finished"}));
    EXPECT_EQ(heard(1), "printername=Third\nprinteraddress=127.0.0.1\njobid=" + number(outcome.job) +
                            "\nwait\nstartdoc\nOK\nOK\nenddoc\n(end of input)\n");
    expect_nothing_left();
    EXPECT_EQ(errors(), Lines());
}

TEST_F(Documents, TheHelperDropsOne) {
    start({"Debug=on", "ErrorPollMethod=snmp"});
    check_hardware(third());
    answer_by("on startdoc WAIT \"Job Suspended\" then DELETE");
    const Outcome outcome = printing::print(third().queue, pattern(10000));
    ASSERT_TRUE(is_printed(outcome));
    EXPECT_EQ(
        logged("TSM Start Doc Port - abandon as JobId: " + number(outcome.job) + " has been marked for deletion."), 1);
    EXPECT_EQ(heard(1), "printername=Third\nprinteraddress=127.0.0.1\njobid=" + number(outcome.job) +
                            "\nwait\nstartdoc\nOK\n(end of input)\n");
    answer_by("");
    expect_prints(third(), page);
    EXPECT_EQ(errors(), Lines());
}

TEST_F(Documents, TheHelperRewritesOne) {
    start();
    const std::string rest = page + pattern(300000);
    const Outcome outcome = print_forced(fourth(), head + rest);
    ASSERT_TRUE(is_printed(outcome));
    EXPECT_TRUE((fourth().printer.next() == Arrival{head + request + rest, "finished"}));
    EXPECT_EQ(messages({"TSM: sent <"}).size(), 1u);
    EXPECT_TRUE(heard(1).ends_with("\njobid=" + number(outcome.job) + "\nforceattr\n(exit)\n")) << heard(1);
    expect_nothing_left();
    EXPECT_EQ(errors(), Lines());

    answer_by("on forceattr ERROR");
    const Outcome failed = print_forced(fourth(), head + page);
    EXPECT_FALSE(failed.told);
    EXPECT_EQ(failed.commands, Commands());
    EXPECT_TRUE(failed.forgotten);
    EXPECT_TRUE((fourth().printer.next() == Arrival{"", "finished"}));
    EXPECT_EQ(errors(), (Lines{"TSM: Failed forceattr command in helper", "TSM: failed to send force attr data"}));
    heard(2);
    expect_nothing_left();
}

TEST_F(Documents, APrinterIsLost) {
    start();
    const std::string data = pattern(8 << 20);
    const std::string lost = "TSM Write Port: failed to send data to printer, close connection";
    // The program stops at the first buffer that is not taken. The end of the document is reported all the same.
    const Outcome outcome = printing::print(losing().queue, data);
    EXPECT_FALSE(outcome.told);
    EXPECT_EQ(outcome.commands, command(outcome, JOB_CONTROL_SENT_TO_PRINTER));
    EXPECT_TRUE(outcome.forgotten);
    const Arrival part = losing().printer.next();
    EXPECT_EQ(part.end, "reset by the printer");
    EXPECT_GE(part.data.size(), 100000u);
    EXPECT_TRUE(data.starts_with(part.data));
    const Lines found = errors();
    EXPECT_EQ(std::count(found.begin(), found.end(), lost), 1);

    // Rewritten data is asked for once more, which counts as done.
    const Outcome forced = print_forced(losing(), data);
    EXPECT_TRUE(forced.told);
    Commands both = command(forced, JOB_CONTROL_RESTART);
    both.push_back(command(forced, JOB_CONTROL_SENT_TO_PRINTER).front());
    EXPECT_EQ(forced.commands, both);
    EXPECT_TRUE(data.starts_with(losing().printer.next().data));
    expect_prints(second(), page);
    // A helper that still reads the job's file keeps it from being deleted. It goes at the next start.
    heard(1);
    delete_monitor();
    store_ports();
    add_monitor();
    expect_nothing_left();
}

// -- Side by side ----------------------------------------------------------------------------------------------------

// What one thread has printed, in order.
using Printed = std::vector<std::pair<Outcome, std::string>>;

TEST_F(Documents, ThreadsPrintOnAllPorts) {
    constexpr int rounds = 6;
    start();
    check_hardware(third());
    const auto print_all = [this](Place& place, char thread) {
        Printed printed;
        for (int i = 0; i < rounds; ++i) {
            const std::string data = head + "% " + thread + std::to_string(i) + "\n" + page +
                                     pattern(std::vector<size_t>{0, 1, 4096, 100000}[static_cast<size_t>(i) % 4]);
            printed.emplace_back(&place == &fourth() ? print_forced(place, data) : printing::print(place.queue, data),
                                 data);
        }
        return printed;
    };
    std::vector<std::future<Printed>> threads;
    const std::vector<Place*> places = everywhere();
    for (Place* const place : places) {
        for (const char thread : {'a', 'b'}) {
            threads.push_back(std::async(std::launch::async, print_all, std::ref(*place), thread));
        }
    }
    const auto over = [](const std::future<Printed>& one) {
        return one.wait_for(std::chrono::milliseconds(10)) == std::future_status::ready;
    };
    while (!std::all_of(threads.begin(), threads.end(), over)) EXPECT_EQ(listed_ports(), all_ports());

    for (size_t i = 0; i < places.size(); ++i) {
        Lines sent;
        for (size_t thread = 2 * i; thread < 2 * i + 2; ++thread) {
            for (auto& [outcome, data] : threads[thread].get()) {
                is_printed(outcome);
                if (places[i] == &fourth()) data.insert(data.find(page), request);
                sent.push_back(data);
            }
        }
        std::sort(sent.begin(), sent.end());
        EXPECT_TRUE(places[i]->printer.next_data(sent.size()) == sent) << i;
    }
    expect_nothing_left();
    EXPECT_EQ(messages({"TSM End Doc Port completed - return 1"}).size(), 8u * rounds);
    EXPECT_EQ(errors(), Lines());
}

std::string text_of(DWORD process, const Place& place, int round) {
    return "process " + number(process) + " on " + host::to_utf8(place.queue) + ", " + std::to_string(round) + "\n" +
           pattern(static_cast<size_t>(round) * 4096);
}

// What one process of the test below prints: each round on all queues at once.
void print_rounds(DWORD process, int begin, int end) {
    std::vector<std::future<std::vector<Outcome>>> threads;
    for (const Place* const place : SpoolerServer::everywhere()) {
        threads.push_back(std::async(std::launch::async, [=] {
            std::vector<Outcome> outcomes;
            for (int i = begin; i < end; ++i)
                outcomes.push_back(printing::print(place->queue, text_of(process, *place, i)));
            return outcomes;
        }));
    }
    for (auto& thread : threads) {
        for (const Outcome& outcome : thread.get()) SpoolerServer::is_printed(outcome);
    }
}

// Its seed is the number at which its jobs begin, so that no other process has them.
TEST(SpoolerProcess, DISABLED_PrintsOnAllPorts) {
    const auto process = static_cast<DWORD>(GTEST_FLAG_GET(random_seed));
    ASSERT_TRUE(printing::begin_jobs_at(SpoolerServer::first().queue, process));
    print_rounds(process, 0, 1);
    const size_t before = open_handles();
    print_rounds(process, 1, 10);
    EXPECT_TRUE(wait_until([before] { return open_handles() <= before; })) << open_handles() << ", not " << before;
}

// A process that has not added the monitor loads and unloads it for every document.
TEST_F(Documents, ProcessesPrintOnAllPorts) {
    start({});
    std::list<Program> programs;
    for (const DWORD process : {1000u, 2000u, 3000u}) {
        programs.emplace_back(own_program() + L" x --gtest_also_run_disabled_tests --gtest_filter=SpoolerProcess.* " +
                              L"--gtest_random_seed=" + std::to_wstring(process));
    }
    constexpr char here[] = "from the test";
    for (int i = 0; i < 10; ++i) is_printed(printing::print(first().queue, here));
    for (Program& program : programs) {
        const std::string output = program.output();
        EXPECT_NE(output.find("[  PASSED  ] 1 test."), std::string::npos) << output;
    }
    for (Place* const place : everywhere()) {
        Lines sent(place == &first() ? 10 : 0, here);
        for (const DWORD process : {1000u, 2000u, 3000u}) {
            for (int i = 0; i < 10; ++i) sent.push_back(text_of(process, *place, i));
        }
        std::sort(sent.begin(), sent.end());
        EXPECT_TRUE(place->printer.next_data(sent.size()) == sent) << host::to_utf8(place->queue);
    }
    expect_nothing_left();
}

TEST_F(Documents, TwoHundredLeaveNoHandle) {
    start();
    check_hardware(third());
    std::map<Place*, size_t> sent;
    const auto print_course = [&](int course) {
        if (course == 1) return print_unapproved(first(), page);
        if (course == 2) return printing::print(refusing().queue, page);
        Place& place = course == 3   ? third()
                       : course == 4 ? fourth()
                       : course == 5 ? losing()
                       : course % 2  ? first()
                                     : second();
        ++sent[&place];
        if (course == 4) return print_forced(place, page);
        return printing::print(place.queue, course == 5 ? pattern(8 << 20) : page);
    };
    const auto print_some = [&](int count) {
        for (int i = 0; i < count; ++i) {
            const Outcome outcome = print_course(i % 20);
            EXPECT_TRUE(outcome.forgotten);
            EXPECT_EQ(outcome.told, i % 20 != 2 && i % 20 != 5) << i;
            EXPECT_EQ(outcome.commands, i % 20 == 2 ? Commands() : command(outcome, JOB_CONTROL_SENT_TO_PRINTER)) << i;
        }
    };
    print_some(20);
    const size_t before = open_handles();
    print_some(200);
    EXPECT_TRUE(wait_until([&] { return open_handles() <= before; })) << open_handles() << ", not " << before;
    for (const auto& [place, count] : sent) {
        const Lines data = place->printer.next_data(count);
        EXPECT_TRUE(place == &losing() || data == Lines(count, page)) << host::to_utf8(place->queue);
    }
    expect_nothing_left();
}

}  // namespace
}  // namespace test
