// The finished library in Wine's own spooler: documents, ports and the monitor itself, through the spooler's functions.
// What is written below HKEY_LOCAL_MACHINE and into system32 is meant for a Wine prefix of its own.
#include <atomic>
#include <cstdio>
#include <cwchar>
#include <thread>

#include "tests/package/wine_spooler.h"
#include "tests/support/child_process.h"
#include "tests/support/helper_script.h"
#include "winportmon/tsmonui/channel.h"

namespace test {
namespace {

using wine_spooler::listed_ports;
using Commands = std::vector<DWORD>;

const WCHAR office_name[] = L"Office";
const WCHAR other_name[] = L"B\u00fcro \u6771\u4eac";
const tsmonui::Server this_computer(nullptr);
const std::string head = "%!PS-Adobe-3.0\n%%Pages: 1\n";
const std::string page = "%%Page: 1 1\nshowpage\n";
const std::string request = "<< /Duplex true /Tumble false /NumCopies 2 >> setpagedevice\n";  // of the helper

thread_local thin_monitor::Job announced = {};
thread_local Commands commands;

struct Outcome {
    bool told = false;  // what EndDocPrinter has told the program: whether the document was printed
    Commands commands;  // of the monitor for this job, each of them taken by the spooler
    bool operator==(const Outcome&) const = default;
};
const Outcome printed = {true, {JOB_CONTROL_SENT_TO_PRINTER}};

// A document as a program prints it. `spooled` is called with the job's number when all data is in the spooler's file
// and nothing of it with the monitor.
Outcome print_on(Text queue, const std::string& data, const std::function<void(DWORD job)>& spooled = {}) {
    HANDLE printer = nullptr;
    EXPECT_TRUE(OpenPrinterW(queue.data(), &printer, nullptr)) << GetLastError();
    WCHAR document[] = L"document";
    WCHAR type[] = L"RAW";
    DOC_INFO_1W information = {document, nullptr, type};
    announced = {queue.c_str(), StartDocPrinterW(printer, 1, reinterpret_cast<BYTE*>(&information))};
    DWORD written = 0;
    EXPECT_TRUE(WritePrinter(printer, const_cast<char*>(data.data()), static_cast<DWORD>(data.size()), &written));
    if (spooled) spooled(announced.id);
    commands.clear();
    const bool told = EndDocPrinter(printer) != FALSE;
    announced = {};
    ClosePrinter(printer);
    return {told, commands};
}

class Spooler : public HelperServer {
  protected:
    // Two ports and a queue on each, both of the port's name. Problems of a device are shown by nobody: the spooler
    // fails at that.
    void SetUp() override {
        prepare({"ErrorPollMethod=snmp"});
        install_helper();
        other = &add_printer(other_name);
        wine_spooler::add_monitor();
        for (const WCHAR* const queue : {office_name, other_name}) wine_spooler::add_queue(queue, queue);
        ASSERT_NE(GetModuleHandleW(L"tsprintportmon.dll"), nullptr);
    }
    void TearDown() override {
        heard();  // a helper may still read a file
        for (const WCHAR* const queue : {office_name, other_name, L"New"}) wine_spooler::delete_queue(queue);
        delete_monitor();
        if (HasFailure()) std::printf("%s\n", log().c_str());
    }
    static void delete_monitor() {
        EXPECT_TRUE(wine_spooler::delete_monitor()) << GetLastError();
        EXPECT_EQ(listed_ports(), std::vector<Text>());
        EXPECT_EQ(GetModuleHandleW(L"tsprintportmon.dll"), nullptr) << "the library is still loaded";
    }
    void expect_nothing_left() const {
        for (const char* const name : {"forceattr", "notapprovedjobs"}) {
            EXPECT_TRUE(fs::is_empty(path_of(folder.spool(name)))) << name;
        }
    }

    test_printer::TcpPrinter* other = nullptr;
};

TEST_F(Spooler, DocumentsOfEveryOutcome) {
    const std::string rest = page + pattern(300000);
    const struct {
        const char* name;
        std::string data;
        testbed::DocumentPlan plan;
        Outcome outcome;
        Lines arrive;
    } rows[] = {
        {"empty", "", {}, printed, {""}},
        {"large", pattern(100000), {}, printed, {pattern(100000)}},
        {"not approved", page, {.not_approved = true}, printed, {}},
        {"checked", page, {.checked = true, .script = "on startdoc WAIT \"Door Open\" then OK"}, printed, {page}},
        {"dropped", page, {.checked = true, .script = "on startdoc WAIT \"Jam\" then DELETE"}, printed, {}},
        {"rewritten", head + rest, {.forced = true}, printed, {head + request + rest}},
        {"not rewritten", head + page, {.forced = true, .script = "on forceattr ERROR"}, {}, {""}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        DWORD id = 0;
        const Outcome outcome = print_on(office_name, row.data, [&](DWORD job) {
            id = job;
            ASSERT_TRUE(testbed::lay_out(folder, "Office", job, row.plan));
        });
        EXPECT_EQ(outcome.told, row.outcome.told);
        EXPECT_EQ(outcome.commands, row.outcome.commands);
        EXPECT_TRUE(test::same_bytes(arrived(row.arrive.size()), row.arrive));
        EXPECT_EQ(logged("\"Office\", JobId: " + std::to_string(id) + ", Version: " TSM_VERSION), 1);
        EXPECT_EQ(logged("", "ERROR: "), row.outcome.told ? 0 : 2);
        heard();
        expect_nothing_left();
        testbed::clear_away(folder, "Office", id, row.plan);
    }
}

TEST_F(Spooler, AnOpenDoorHoldsOneDocumentAndNoOther) {
    check_hardware();
    answer_by("on startdoc WAIT \"Door Open\" until closed then OK");
    std::atomic<bool> over = false;
    std::jthread held([&over] {
        EXPECT_TRUE(print_on(office_name, page) == printed);
        over = true;
    });
    EXPECT_TRUE(wait_until([this] { return logged("TSM: extracted wait error string = \"Door Open\"") == 1; }));
    EXPECT_TRUE(print_on(other_name, "meanwhile") == printed);
    EXPECT_FALSE(over);
    release("closed");
    held.join();
    EXPECT_EQ(arrived(1), Lines{page});
}

// The program stops at the first buffer that is not taken. The end of the document is reported all the same; rewritten
// data is asked for once more there.
TEST_F(Spooler, PrintersThatRefuseOrAreLost) {
    const std::string data = pattern(8 << 20);
    office->refuse();
    EXPECT_TRUE(print_on(office_name, page) == Outcome());
    office->listen();
    test_printer::Behaviour losing;
    losing.reset_after = 100000;
    losing.receive_buffer = 65536;
    office->behave(losing);
    EXPECT_TRUE(print_on(office_name, data) == (Outcome{false, {JOB_CONTROL_SENT_TO_PRINTER}}));
    const Outcome forced = print_on(office_name, data, [this](DWORD job) { force_attributes("Office", job); });
    EXPECT_TRUE(forced == (Outcome{true, {JOB_CONTROL_RESTART, JOB_CONTROL_SENT_TO_PRINTER}}));
    for (const std::string& part : arrived(2)) EXPECT_TRUE(part.size() >= 100000 && data.starts_with(part));
    office->behave({});
    EXPECT_TRUE(print_on(office_name, page) == printed);
    EXPECT_EQ(arrived(1), Lines{page});

    // A helper that still reads the job's file keeps it from being deleted. It goes at the next start.
    heard();
    delete_monitor();
    host::store_port(other_name, L"127.0.0.1", other->port());
    wine_spooler::add_monitor();
    expect_nothing_left();
    EXPECT_EQ(listed_ports(), std::vector<Text>{other_name});
    EXPECT_TRUE(print_on(other_name, page) == printed);
}

TEST_F(Spooler, PortsComeChangeAndGoWhileDocumentsPrint) {
    Lines sent;
    std::jthread printing([&sent](const std::stop_token& stop) {
        for (; !stop.stop_requested(); sent.push_back(page)) EXPECT_TRUE(print_on(office_name, page) == printed);
    });
    const Text name = L"ts_new";
    test_printer::TcpPrinter third;
    tsmonui::Channel channel;
    EXPECT_EQ(channel.OpenMonitor(this_computer, wine_spooler::monitor_name, SERVER_ACCESS_ADMINISTER), 0u);
    const auto send = [&](LPCWSTR command, const PortConfig& config) {
        return channel.Send(command, &config, sizeof config);
    };
    const auto delete_port = [&] {
        return channel.Send(L"TSDeletePort", name.c_str(), (name.size() + 1) * sizeof(WCHAR));
    };
    size_t count = 0;
    const auto expect_leads_to = [&](test_printer::TcpPrinter& printer, size_t connection) {
        const std::string data = "page " + std::to_string(++count);
        EXPECT_TRUE(print_on(L"New", data) == printed);
        EXPECT_TRUE(printer.wait_for_end_of(connection));
        EXPECT_EQ(printer.connection(connection).data, data);
    };
    for (size_t round = 0; round < 3; ++round) {
        SCOPED_TRACE(round);
        const PortConfig config = port_config(name, L"127.0.0.1", other->port());
        ASSERT_EQ(send(L"TSAddPort", config), 0u);
        EXPECT_EQ(send(L"TSAddPort", config), DWORD{ERROR_ALREADY_EXISTS});
        EXPECT_EQ(listed_ports(), (std::vector<Text>{other_name, office_name, name}));
        if (round == 0) wine_spooler::add_queue(L"New", name);
        expect_leads_to(*other, round);
        ASSERT_EQ(send(L"TSConfigPort", port_config(name, L"127.0.0.1", third.port())), 0u);
        expect_leads_to(third, round);
        ASSERT_EQ(delete_port(), 0u);
        EXPECT_EQ(delete_port(), DWORD{ERROR_FILE_NOT_FOUND});
        EXPECT_EQ(listed_ports(), (std::vector<Text>{other_name, office_name}));
    }
    EXPECT_EQ(channel.OpenPort(this_computer, other_name, SERVER_ACCESS_ENUMERATE), 0u);
    EXPECT_EQ(channel.Send(L"TSDeletePort", other_name, sizeof other_name), DWORD{ERROR_ACCESS_DENIED});
    channel.Close();
    printing.request_stop();
    printing.join();
    EXPECT_FALSE(sent.empty());
    EXPECT_EQ(arrived(sent.size()), sent);
}

// tsport.exe has a spooler of its own around it here: what it changes is seen by programs that start later.
TEST_F(Spooler, TheCommandLineWorksThroughASpooler) {
    const auto tsport = [](const Text& arguments) {
        return run_child(host::to_text(host::executable_folder()) + L"\\tsport.exe " + arguments).output;
    };
    EXPECT_EQ(tsport(L"add ts_tool 127.0.0.1 9102"), "added \"ts_tool\": 127.0.0.1 port 9102\n");
    wine_spooler::add_queue(L"New", L"ts_tool");
    EXPECT_EQ(tsport(L"show TS_TOOL"), "name     ts_tool\naddress  127.0.0.1\nport     9102\nqueues   New\n");
    EXPECT_TRUE(tsport(L"delete ts_tool").starts_with("tsport: nothing was deleted: queues print to \"ts_tool\""));
    EXPECT_EQ(tsport(L"delete ts_tool --force"), "deleted \"ts_tool\"\n");
}

}  // namespace
}  // namespace test

// -- What the thin monitor asks and tells ----------------------------------------------------------------------------

extern "C" __declspec(dllexport) const thin_monitor::Job* announced_job() {
    return test::announced.printer != nullptr ? &test::announced : nullptr;
}

extern "C" __declspec(dllexport) void job_was_set(DWORD id, DWORD level, DWORD command, BOOL answer) {
    test::commands.push_back(id == test::announced.id && level == 0 && answer ? command : ~0u);
}

int main(int count, char** arguments) {
    if (!wine_spooler::is_wine()) return 2;
    testing::InitGoogleTest(&count, arguments);
    WCHAR system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    std::error_code error;
    std::filesystem::copy_file(host::executable_folder() + "/../spooler/thin_monitor.dll",
                               std::filesystem::path(system) / thin_monitor::file_name,
                               std::filesystem::copy_options::overwrite_existing, error);
    if (error) return 2;
    return RUN_ALL_TESTS();
}
