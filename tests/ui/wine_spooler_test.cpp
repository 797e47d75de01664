// Ports in Windows' own dialogs from end to end: a program calls AddPortW, ConfigurePortW and DeletePortW, Wine's
// spooler finds the dialogs through the monitor, and the monitor carries out what was typed.
#include <algorithm>
#include <vector>

#include "tests/package/thin_monitor.h"
#include "tests/ui/dialogs.h"
#include "tools/peer/tcp_printer.h"

namespace ui {
namespace {

WCHAR monitor_name[] = L"Tessaron TCP/IP Port";
WCHAR environment[] = L"Windows x64";
constexpr WCHAR monitor_key[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Monitors\\Tessaron TCP/IP Port";

std::vector<std::wstring> ports() {
    std::vector<BYTE> buffer(1 << 16);
    DWORD needed = 0;
    DWORD count = 0;
    EXPECT_TRUE(EnumPortsW(nullptr, 2, buffer.data(), static_cast<DWORD>(buffer.size()), &needed, &count))
        << GetLastError();
    std::vector<std::wstring> names;
    const auto* const records = reinterpret_cast<const PORT_INFO_2W*>(buffer.data());
    for (DWORD i = 0; i < count; ++i) {
        const WCHAR* const monitor = records[i].pMonitorName;
        if (monitor != nullptr && std::wstring(monitor) == monitor_name) names.emplace_back(records[i].pPortName);
    }
    std::sort(names.begin(), names.end());
    return names;
}

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
        DeleteMonitorW(nullptr, environment, monitor_name);
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, monitor_key);
        std::wstring file = thin_monitor::file_name;
        MONITOR_INFO_2W info = {monitor_name, environment, file.data()};
        ASSERT_TRUE(AddMonitorW(nullptr, 2, reinterpret_cast<BYTE*>(&info))) << GetLastError();
    }
    void TearDown() override { EXPECT_TRUE(DeleteMonitorW(nullptr, environment, monitor_name)) << GetLastError(); }

    static std::unique_ptr<Desk> add_port() {
        return std::make_unique<Desk>([](HWND window) { return AddPortW(nullptr, window, monitor_name); });
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

    // Adds a port through the dialog.
    static void add(const std::wstring& name, const std::wstring& address) {
        const auto desk = add_port();
        const HWND dialog = desk->front();
        ASSERT_NE(dialog, nullptr);
        ASSERT_TRUE(desk->fill(dialog, IDC_ADDRESS, address));
        ASSERT_TRUE(desk->fill(dialog, IDC_NAME, name));
        desk->key(VK_RETURN);
        expect_success(*desk);
    }
};

// A queue on a port; deleted with this.
class Queue {
  public:
    Queue(std::wstring name, std::wstring port) {
        WCHAR driver[] = L"Wine PostScript Driver";
        WCHAR processor[] = L"winprint";
        WCHAR type[] = L"RAW";
        WCHAR system[MAX_PATH] = {};
        GetSystemDirectoryW(system, MAX_PATH);
        std::wstring file = std::wstring(system) + L"\\wineps.drv";
        DRIVER_INFO_3W parts = {};
        parts.cVersion = 3;
        parts.pName = driver;
        parts.pEnvironment = environment;
        parts.pDriverPath = parts.pDataFile = parts.pConfigFile = file.data();
        AddPrinterDriverW(nullptr, 3, reinterpret_cast<BYTE*>(&parts));
        PRINTER_INFO_2W info = {};
        info.pPrinterName = name.data();
        info.pPortName = port.data();
        info.pDriverName = driver;
        info.pPrintProcessor = processor;
        info.pDatatype = type;
        printer_ = AddPrinterW(nullptr, 2, reinterpret_cast<BYTE*>(&info));
        EXPECT_NE(printer_, nullptr) << GetLastError();
    }
    ~Queue() {
        DeletePrinter(printer_);
        ClosePrinter(printer_);
    }
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;

  private:
    HANDLE printer_;
};

TEST_F(WineSpooler, AddPortOpensTheDialogAndThePortIsThere) {
    peer::TcpPrinter printer;
    const auto desk = add_port();
    const HWND dialog = desk->front();
    ASSERT_NE(dialog, nullptr);
    desk->type(L"127.0.0.1");
    ASSERT_TRUE(Desk::shows(dialog, IDC_NAME, L"127.0.0.1"));
    ASSERT_TRUE(desk->fill(dialog, IDC_NAME, L"B\u00fcro \u6771\u4eac"));
    ASSERT_TRUE(desk->fill(dialog, IDC_PORT, std::to_wstring(printer.port())));
    desk->alt(L'T');
    EXPECT_TRUE(Desk::begins(dialog, IDC_TEST_RESULT, L"Success"));
    EXPECT_TRUE(ports().empty());
    desk->click(dialog, IDOK);
    expect_success(*desk);
    EXPECT_EQ(ports(), std::vector<std::wstring>{L"B\u00fcro \u6771\u4eac"});
    EXPECT_TEXT(stored(L"B\u00fcro \u6771\u4eac"), L"127.0.0.1:" + std::to_wstring(printer.port()));
}

TEST_F(WineSpooler, ANameThatTheSpoolerKnowsIsRefusedWhoeverHasIt) {
    add(L"Office", L"10.1.2.3");
    const auto desk = add_port();
    const HWND dialog = desk->front();
    ASSERT_TRUE(desk->fill(dialog, IDC_ADDRESS, L"10.9.9.9"));
    for (const std::wstring name : {L"OFFICE", L"LPT1:"}) {
        ASSERT_TRUE(desk->fill(dialog, IDC_NAME, name));
        desk->key(VK_RETURN);
        EXPECT_TRUE(Desk::shows(dialog, IDC_NAME_NOTE, L"There is a port of this name already. Type another name."));
    }
    desk->key(VK_ESCAPE);
    expect_cancelled(*desk);
    EXPECT_EQ(ports(), std::vector<std::wstring>{L"Office"});
    EXPECT_TEXT(stored(L"Office"), L"10.1.2.3:9100");
}

TEST_F(WineSpooler, ConfigurePortChangesWhatIsStored) {
    add(L"Office", L"10.1.2.3");
    auto desk = configure_port(L"Office");
    HWND dialog = desk->front();
    ASSERT_NE(dialog, nullptr);
    EXPECT_TEXT(text_of(GetDlgItem(dialog, IDC_ADDRESS)), L"10.1.2.3");
    ASSERT_TRUE(desk->fill(dialog, IDC_ADDRESS, L"printer12.example"));
    desk->key(VK_ESCAPE);
    expect_cancelled(*desk);
    EXPECT_TEXT(stored(L"Office"), L"10.1.2.3:9100");

    desk = configure_port(L"Office");
    dialog = desk->front();
    ASSERT_TRUE(desk->fill(dialog, IDC_ADDRESS, L"printer12.example"));
    ASSERT_TRUE(desk->fill(dialog, IDC_PORT, L"515"));
    desk->key(VK_RETURN);
    expect_success(*desk);
    EXPECT_TEXT(stored(L"Office"), L"printer12.example:515");
}

TEST_F(WineSpooler, DeletePortNamesTheQueuesAndDeletes) {
    add(L"Office", L"10.1.2.3");
    {
        const Queue queue(L"Reception", L"Office");
        const auto desk = delete_port(L"Office");
        const HWND dialog = desk->front();
        ASSERT_NE(dialog, nullptr);
        WCHAR name[256] = {};
        SendDlgItemMessageW(dialog, IDC_PRINTERS, LB_GETTEXT, 0, reinterpret_cast<LPARAM>(name));
        EXPECT_TEXT(name, L"Reception");
        desk->key(VK_RETURN);
        expect_cancelled(*desk);
        EXPECT_EQ(ports(), std::vector<std::wstring>{L"Office"});
    }
    const auto desk = delete_port(L"Office");
    EXPECT_TRUE(text_of(GetDlgItem(desk->front(), IDC_QUESTION)).ends_with(L"No printer uses it."));
    desk->alt(L'D');
    expect_success(*desk);
    EXPECT_TRUE(ports().empty());
    EXPECT_TEXT(stored(L"Office"), L"nothing");
}

// The way to a server, as Wine's spooler takes it: this computer, by its name.
TEST_F(WineSpooler, AServerIsReachedByItsName) {
    WCHAR name[MAX_COMPUTERNAME_LENGTH + 3] = L"\\\\";
    DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
    GetComputerNameW(name + 2, &size);
    Desk desk([&](HWND window) { return functions().pfnAddPortUI(name, window, monitor_name, nullptr); });
    const HWND dialog = desk.front();
    ASSERT_NE(dialog, nullptr);
    EXPECT_TEXT(text_of(dialog), L"Add Tessaron TCP/IP Port") << "this computer is not another server";
    ASSERT_TRUE(desk.fill(dialog, IDC_ADDRESS, L"10.1.2.3"));
    desk.key(VK_RETURN);
    expect_success(desk);
    EXPECT_EQ(ports(), std::vector<std::wstring>{L"10.1.2.3"});
}

}  // namespace
}  // namespace ui
