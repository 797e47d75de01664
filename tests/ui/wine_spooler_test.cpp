// Ports in Windows' own dialogs from end to end: a program calls AddPortW, ConfigurePortW and DeletePortW, Wine's
// spooler finds the dialogs through the monitor, and the monitor carries out what was typed.
#include "tests/package/wine_spooler.h"
#include "testbed/test_printer/tcp_printer.h"
#include "tests/ui/dialogs.h"

namespace ui {
namespace {

using wine_spooler::listed_ports;

// The port as the monitor has stored it, "NAME|ADDRESS|NUMBER"; empty when there is none.
std::string stored() {
    std::string lines;
    for (const host::PortConfig& port : host::stored_ports()) lines += host::to_line(port);
    return lines;
}

class WineSpooler : public testing::Test {
  protected:
    // A run that was broken off may have left something.
    void SetUp() override {
        wine_spooler::delete_monitor();
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, contract::kMonitorKey);
        wine_spooler::add_monitor();
    }
    void TearDown() override { EXPECT_TRUE(wine_spooler::delete_monitor()) << GetLastError(); }
};

TEST_F(WineSpooler, APortIsAddedChangedAndDeletedAsTyped) {
    std::wstring name = L"B\u00fcro \u6771\u4eac";
    std::wstring monitor = contract::kMonitorName;
    test_printer::TcpPrinter printer;
    const std::wstring number = std::to_wstring(printer.port());
    for (const bool taken : {false, true}) {
        Desk desk([&](HWND window) { return AddPortW(nullptr, window, monitor.data()); });
        desk.fill({{IDC_ADDRESS, L"127.0.0.1"}, {IDC_NAME, name}, {IDC_PORT, number}});
        Desk::alt(L'T');
        desk.expect({{IDC_TEST_RESULT, L"Success*"}});
        desk.click(IDOK);
        if (taken) {
            desk.expect({{IDC_NAME_NOTE, L"A port with this name already exists. Type another name."}});
            Desk::key(VK_ESCAPE);
        }
        desk.expect_end(taken ? ERROR_CANCELLED : ERROR_SUCCESS);
        EXPECT_EQ(listed_ports(), std::vector<std::wstring>{name});
        EXPECT_EQ(stored(), host::to_utf8(name + L"|127.0.0.1|" + number));
    }
    for (const WORD key : {WORD{VK_ESCAPE}, WORD{VK_RETURN}}) {
        Desk desk([&](HWND window) { return ConfigurePortW(nullptr, window, name.data()); });
        desk.expect({{IDC_ADDRESS, L"127.0.0.1"}, {IDC_PORT, number}});
        desk.fill({{IDC_ADDRESS, L"printer12.example"}, {IDC_PORT, L"515"}});
        Desk::key(key);
        desk.expect_end(key == VK_ESCAPE ? ERROR_CANCELLED : ERROR_SUCCESS);
    }
    EXPECT_EQ(stored(), host::to_utf8(name + L"|printer12.example|515"));

    wine_spooler::add_queue(L"Reception", name);
    for (const bool used : {true, false}) {
        Desk desk([&](HWND window) { return DeletePortW(nullptr, window, name.data()); });
        desk.expect({{IDC_QUESTION, used ? L"*These printers use it.*" : L"*No printer uses it."}});
        Desk::key(VK_RETURN);
        desk.expect_end(used ? ERROR_CANCELLED : ERROR_SUCCESS);
        EXPECT_EQ(listed_ports().size(), used ? 1u : 0u);
        wine_spooler::delete_queue(L"Reception");
    }
    EXPECT_EQ(stored(), "");
}

// The way to a server, as Wine's spooler takes it: this computer, by its name.
TEST_F(WineSpooler, AServerIsReachedByItsName) {
    WCHAR name[MAX_COMPUTERNAME_LENGTH + 3] = L"\\\\";
    DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
    GetComputerNameW(name + 2, &size);
    Desk desk = add_port(name);
    desk.expect({{kTitle, L"Add Tessaron TCP/IP Port"}});  // this computer is not another server
    desk.fill({{IDC_ADDRESS, L"10.1.2.3"}});
    Desk::key(VK_RETURN);
    desk.expect_end(ERROR_SUCCESS);
    EXPECT_EQ(listed_ports(), std::vector<std::wstring>{L"10.1.2.3"});
}

}  // namespace
}  // namespace ui
