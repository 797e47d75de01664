// Ports in Windows' own dialogs from end to end: a program calls AddPortW, ConfigurePortW and DeletePortW, Wine's
// spooler finds the dialogs through the monitor, and the monitor carries out what was typed.
#include "tests/package/wine_spooler.h"
#include "testbed/test_printer/tcp_printer.h"
#include "tests/ui/dialogs.h"

namespace ui {
namespace {

using wine_spooler::listed_ports;

constexpr WCHAR monitor_key[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Tessaron TCP/IP Port";

// "ADDRESS:PORT" as the monitor has stored it.
std::wstring stored(const std::wstring& port) {
    const std::wstring key = std::wstring(monitor_key) + L"\\Ports\\" + port;
    WCHAR address[256] = {};
    DWORD size = sizeof address;
    DWORD number = 0;
    DWORD number_size = sizeof number;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"HostName", RRF_RT_REG_SZ, nullptr, address, &size) != 0 ||
        RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"PortNumber", RRF_RT_REG_DWORD, nullptr, &number,
                     &number_size) != 0) {
        return L"nothing";
    }
    return address + (L":" + std::to_wstring(number));
}

class WineSpooler : public testing::Test {
  protected:
    // A run that was broken off may have left something.
    void SetUp() override {
        wine_spooler::delete_monitor();
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, monitor_key);
        wine_spooler::add_monitor();
    }
    void TearDown() override { EXPECT_TRUE(wine_spooler::delete_monitor()) << GetLastError(); }

    static std::unique_ptr<Desk> add_port() {
        return std::make_unique<Desk>([name = std::wstring(wine_spooler::monitor_name)](HWND window) mutable {
            return AddPortW(nullptr, window, name.data());
        });
    }
    static std::unique_ptr<Desk> configure_port(std::wstring port) {
        return std::make_unique<Desk>(
            [port](HWND window) mutable { return ConfigurePortW(nullptr, window, port.data()); });
    }
    static std::unique_ptr<Desk> delete_port(std::wstring port) {
        return std::make_unique<Desk>(
            [port](HWND window) mutable { return DeletePortW(nullptr, window, port.data()); });
    }
    static void expect_success(Desk& desk) {
        ASSERT_TRUE(desk.ended());
        EXPECT_TRUE(desk.result()) << desk.error();
    }
    static void expect_cancelled(Desk& desk) {
        ASSERT_TRUE(desk.ended());
        EXPECT_FALSE(desk.result());
        EXPECT_EQ(desk.error(), DWORD{ERROR_CANCELLED});
    }
};

TEST_F(WineSpooler, APortIsAddedChangedAndDeletedAsTyped) {
    const std::wstring name = L"B\u00fcro \u6771\u4eac";
    test_printer::TcpPrinter printer;
    std::unique_ptr<Desk> desk;
    HWND dialog = nullptr;
    for (const bool taken : {false, true}) {
        desk = add_port();
        dialog = desk->front();
        ASSERT_NE(dialog, nullptr);
        ASSERT_TRUE(desk->fill(dialog, IDC_ADDRESS, L"127.0.0.1"));
        ASSERT_TRUE(desk->fill(dialog, IDC_NAME, name));
        ASSERT_TRUE(desk->fill(dialog, IDC_PORT, std::to_wstring(printer.port())));
        desk->alt(L'T');
        EXPECT_TRUE(Desk::begins(dialog, IDC_TEST_RESULT, L"Success"));
        EXPECT_EQ(listed_ports().size(), taken ? 1u : 0u);
        desk->click(dialog, IDOK);
        if (!taken) {
            expect_success(*desk);
            continue;
        }
        EXPECT_TRUE(Desk::shows(dialog, IDC_NAME_NOTE, L"A port with this name already exists. Type another name."));
        desk->key(VK_ESCAPE);
        expect_cancelled(*desk);
    }
    EXPECT_EQ(listed_ports(), std::vector<std::wstring>{name});
    EXPECT_TEXT(stored(name), L"127.0.0.1:" + std::to_wstring(printer.port()));

    for (const WORD key : {WORD{VK_ESCAPE}, WORD{VK_RETURN}}) {
        desk = configure_port(name);
        dialog = desk->front();
        EXPECT_TEXT(text_of(dialog, IDC_ADDRESS), L"127.0.0.1");
        ASSERT_TRUE(desk->fill(dialog, IDC_ADDRESS, L"printer12.example"));
        ASSERT_TRUE(desk->fill(dialog, IDC_PORT, L"515"));
        desk->key(key);
        if (key == VK_ESCAPE) expect_cancelled(*desk);
    }
    expect_success(*desk);
    EXPECT_TEXT(stored(name), L"printer12.example:515");

    wine_spooler::add_queue(L"Reception", name);
    desk = delete_port(name);
    WCHAR queue[256] = {};
    SendDlgItemMessageW(desk->front(), IDC_PRINTERS, LB_GETTEXT, 0, reinterpret_cast<LPARAM>(queue));
    EXPECT_TEXT(queue, L"Reception");
    desk->key(VK_RETURN);
    expect_cancelled(*desk);
    wine_spooler::delete_queue(L"Reception");
    EXPECT_EQ(listed_ports().size(), 1u);

    desk = delete_port(name);
    EXPECT_TRUE(text_of(desk->front(), IDC_QUESTION).ends_with(L"No printer uses it."));
    desk->alt(L'D');
    expect_success(*desk);
    EXPECT_TRUE(listed_ports().empty());
    EXPECT_TEXT(stored(name), L"nothing");
}

// The way to a server, as Wine's spooler takes it: this computer, by its name.
TEST_F(WineSpooler, AServerIsReachedByItsName) {
    WCHAR name[MAX_COMPUTERNAME_LENGTH + 3] = L"\\\\";
    DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
    GetComputerNameW(name + 2, &size);
    Desk desk([&](HWND window) { return functions().pfnAddPortUI(name, window, wine_spooler::monitor_name, nullptr); });
    const HWND dialog = desk.front();
    ASSERT_NE(dialog, nullptr);
    EXPECT_TEXT(text_of(dialog), L"Add Tessaron TCP/IP Port") << "this computer is not another server";
    ASSERT_TRUE(desk.fill(dialog, IDC_ADDRESS, L"10.1.2.3"));
    desk.key(VK_RETURN);
    expect_success(desk);
    EXPECT_EQ(listed_ports(), std::vector<std::wstring>{L"10.1.2.3"});
}

}  // namespace
}  // namespace ui
