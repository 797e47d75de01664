// Ports and the monitor itself, added, changed and deleted through Wine's spooler while documents print.
#include <atomic>
#include <cwchar>
#include <thread>

#include "tests/package/spooler_server.h"

namespace test {
namespace {

// Prints on a queue, again and again, until it is told to stop.
class Printing {
  public:
    explicit Printing(Place& place) : place_(place), thread_([this] { run(); }) {}
    // All of them have been printed and have arrived, and there were some.
    void stop_and_check() {
        wait_until([this] { return count_ >= 3; });
        stop_ = true;
        thread_.join();
        EXPECT_EQ(printed_, count_);
        Lines sent;
        for (int i = 0; i < count_; ++i) sent.push_back(page(i));
        std::sort(sent.begin(), sent.end());
        EXPECT_TRUE(place_.printer.next_data(sent.size()) == sent) << host::to_utf8(place_.queue);
    }
    ~Printing() {
        stop_ = true;
        if (thread_.joinable()) thread_.join();
    }

  private:
    static std::string page(int number) { return "page " + std::to_string(number) + std::string(5000, '.'); }
    void run() {
        for (; !stop_; ++count_) {
            if (printing::print(place_.queue, page(count_)).told) ++printed_;
        }
    }

    Place& place_;
    std::atomic<bool> stop_ = false;
    std::atomic<int> count_ = 0;
    std::atomic<int> printed_ = 0;
    std::thread thread_;
};

class Ports : public SpoolerServer {
  protected:
    static std::vector<Text> all_ports_and(const Text& name) {
        std::vector<Text> names = all_ports();
        names.push_back(name);
        std::sort(names.begin(), names.end());
        return names;
    }
    // Prints on one queue what arrives at another's printer.
    static void expect_leads_to(Place& place, const Text& queue, const std::string& data) {
        ASSERT_TRUE(is_printed(printing::print(queue, data)));
        EXPECT_TRUE((place.printer.next() == Arrival{data, "finished"}));
    }
};

TEST_F(Ports, TheChannelAnswersWhileDocumentsPrint) {
    start();
    Printing one(first());
    Printing other(second());

    WCHAR answer[MAX_PATH] = {};
    EXPECT_EQ(send(object_of_monitor, SERVER_ACCESS_ADMINISTER, L"MonitorUI", nullptr, 0, answer, sizeof answer), 0u);
    EXPECT_STREQ(answer, L"tsprintportmonui.dll");
    EXPECT_EQ(send(L"TSPaintPort", Text()), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(send(L"TSPortExists", Text(L"TS_SECOND")), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(send(L"TSPortExists", Text(L"no such port")), 0u);
    tsmon::PortConfig input = config(L"", third().printer.port());
    EXPECT_EQ(send(L"TSPortIsValid", input), 0u);
    EXPECT_TRUE((third().printer.next() == Arrival{"", "finished"}));
    EXPECT_EQ(send(object_of_monitor, SERVER_ACCESS_ADMINISTER, L"TSPortIsValid", &input, sizeof input - 1),
              DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(errors(), Lines());
    EXPECT_EQ(send(L"TSPortIsValid", config(L"", refusing().printer.port())), DWORD{ERROR_INVALID_FUNCTION});
    EXPECT_EQ(errors().back(), "TSM: unable to connect to printer by tcp");

    const Text port = Text(L",XcvPort ") + first().port;
    EXPECT_EQ(send(port, SERVER_ACCESS_ADMINISTER, L"TSGetConfigInfo", nullptr, 0, &input, sizeof input), 0u);
    EXPECT_STREQ(input.port_name, first().port);
    EXPECT_EQ(input.port_number, first().printer.port());
    for (const WCHAR* const command : {L"TSAddPort", L"TSConfigPort", L"TSGetConfigInfo", L"TSDeletePort"}) {
        EXPECT_EQ(send(port, SERVER_ACCESS_ENUMERATE, command, &input, sizeof input, &input, sizeof input),
                  DWORD{ERROR_ACCESS_DENIED});
    }
    EXPECT_EQ(listed_ports(), all_ports());
    one.stop_and_check();
    other.stop_and_check();
}

TEST_F(Ports, ComeChangeAndGoWhileDocumentsPrint) {
    const Text name = L"ts_new";
    const Text queue = L"New";
    start();
    Printing one(first());
    Printing other(second());
    for (int round = 0; round < 5; ++round) {
        SCOPED_TRACE(round);
        ASSERT_EQ(send(L"TSAddPort", config(name, third().printer.port())), 0u);
        EXPECT_EQ(send(L"TSAddPort", config(name, third().printer.port())), DWORD{ERROR_ALREADY_EXISTS});
        EXPECT_EQ(listed_ports(), all_ports_and(name));
        if (round == 0) add_queue(queue, name);
        expect_leads_to(third(), queue, "added");
        ASSERT_EQ(send(L"TSConfigPort", config(name, fourth().printer.port())), 0u);
        expect_leads_to(fourth(), queue, "changed");
        ASSERT_EQ(send(L"TSDeletePort", name), 0u);
        EXPECT_EQ(send(L"TSDeletePort", name), DWORD{ERROR_FILE_NOT_FOUND});
        EXPECT_EQ(listed_ports(), all_ports());
    }
    one.stop_and_check();
    other.stop_and_check();
    EXPECT_EQ(errors(), Lines(5, "TSM Xcv DoDeletePort: \"ts_new\" - name not found"));
}

// tsport.exe has a spooler of its own around it here: what it changes is seen by programs that start later.
TEST_F(Ports, TheCommandLineWorksThroughASpooler) {
    start();
    const std::string number = std::to_string(third().printer.port());
    EXPECT_EQ(tsport(L"add ts_tool 127.0.0.1 " + host::to_text(number)),
              "0 added \"ts_tool\": 127.0.0.1 port " + number + "\n");
    add_queue(L"Tool", L"ts_tool");
    EXPECT_EQ(tsport(L"show TS_TOOL"),
              "0 name     ts_tool\naddress  127.0.0.1\nport     " + number + "\nqueues   Tool\n");
    EXPECT_TRUE(tsport(L"delete ts_tool").starts_with("3 tsport: nothing was deleted: queues print to \"ts_tool\""));
    EXPECT_EQ(tsport(L"delete ts_tool --force"), "0 deleted \"ts_tool\"\n");
}

TEST_F(Ports, TheMonitorGoesAndComesBack) {
    start();
    for (int round = 0; round < 5; ++round) {
        SCOPED_TRACE(round);
        expect_prints(first(), "page " + std::to_string(round));
        EXPECT_EQ(listed_ports(), all_ports());
        delete_monitor();
        EXPECT_EQ(listed_ports(), std::vector<Text>());
        EXPECT_EQ(logged("TSM Shutdown"), round + 1);
        store_ports();
        add_monitor();
    }
    EXPECT_EQ(logged("TSM init complete"), 6);
    EXPECT_EQ(errors(), Lines());
}

}  // namespace
}  // namespace test
