// The dialog in which a port is added or configured.
#include "testbed/test_printer/tcp_printer.h"
#include "tests/support/silent_printer.h"
#include "tests/support/windows/process.h"
#include "tests/ui/dialogs.h"
#include "winapi/spooler_sim/spooler_sim.h"
#include "winportmon/contract/printer.h"

namespace ui {
namespace {

using test::SilentPrinter;
using PortDialog = Dialogs;
BOTH_MODES(PortDialog);

// As somebody does it who leaves the mouse alone.
TEST_P(PortDialog, APortIsAddedWithTheKeyboardAlone) {
    PWSTR name = nullptr;  // of the new port, for the caller
    Desk desk([&](HWND window) { return functions().pfnAddPortUI(nullptr, window, nullptr, &name); });
    desk.expect({{kTitle, L"Add Tessaron TCP/IP Port"}, {IDC_PORT, L"9100"}});
    EXPECT_FALSE(desk.enabled(IDOK));
    EXPECT_FALSE(desk.enabled(IDC_TEST));
    desk.take("add-empty");

    Desk::type(L"printer12.example");
    desk.expect({{IDC_NAME, L"printer12.example"}});  // the address is proposed as the name
    EXPECT_TRUE(desk.enabled(IDOK));
    Desk::key(VK_TAB);
    Desk::type(L"B\u00fcro");  // takes the place of what was proposed
    desk.expect({{IDC_NAME, L"B\u00fcro"}});
    Desk::alt(L'A');
    Desk::type(L"10.1.2.3");
    Desk::alt(L'P');
    Desk::type(L"515");
    desk.expect({{IDC_ADDRESS, L"10.1.2.3"}, {IDC_NAME, L"B\u00fcro"}, {IDC_PORT, L"515"}});  // a typed name stays
    Desk::key(VK_RETURN);
    expect_added(desk);

    std::vector<std::string> wanted = {"open Tessaron TCP/IP Port 1", "open Tessaron TCP/IP Port 1",
                                       host::to_utf8(L"TSAddPort B\u00fcro|10.1.2.3|515")};
    if (!GetParam()) wanted.push_back(host::to_utf8(L"open B\u00fcro 2"));  // whether the spooler knows it
    EXPECT_EQ(asked(), wanted);
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(name, std::wstring(L"B\u00fcro"));
    LocalFree(name);
}

TEST_P(PortDialog, WhatIsWrongIsSaidBesideTheField) {
    const struct {
        int control;
        const WCHAR* text;
        const WCHAR* said;  // null: nothing is wrong
    } rows[] = {
        {IDC_ADDRESS, L"", L"Type the printer's name or IP address, such as printer12 or 192.168.1.20."},
        {IDC_ADDRESS, L"10.1. 2.3", L"The address contains a blank. Remove it."},
        {IDC_ADDRESS, L" 10.1.2.3 ", nullptr},
        {IDC_ADDRESS, L"http://10.1.2.3", L"Type only the printer's name or IP address: \"10.1.2.3\"."},
        {IDC_ADDRESS, L"999.1.1.1",
         L"An IP address has four numbers from 0 to 255, without leading zeros, such as 192.168.1.20."},
        {IDC_ADDRESS, L"printer\u200B12", L"The address contains invisible characters. Type it again."},
        {IDC_ADDRESS, L"10.1.2.3:9101", L"Type the port in its own field: \"10.1.2.3\" here, 9101 under \"TCP port\"."},
        {IDC_ADDRESS, L"[fe80::1]", L"Type only the printer's name or IP address: \"fe80::1\"."},
        {IDC_NAME, L"", L"Type a name for the port."},
        {IDC_NAME, L"left\\right", L"The name contains a backslash. Remove it."},
        {IDC_NAME, L"Room 12, left",
         L"The name contains a comma. Remove it: Windows separates a printer's ports by commas."},
        {IDC_NAME, L"Room\u00A012", L"The name contains invisible characters or unusual blanks. Type it again."},
        {IDC_NAME, L"lpt1:", L"Windows has its own port of this name. Type another name."},
        {IDC_NAME, L"TS001",
         L"Windows deletes printers whose port's name begins with TS and a digit. Type another name."},
        {IDC_PORT, L"65536", L"Type a number from 1 to 65535."},
        {IDC_PORT, L"65535", nullptr},
    };
    Desk desk = add_port();
    const HWND port = GetDlgItem(desk.dialog(), IDC_PORT);
    SendMessageW(desk.dialog(), WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(port), TRUE);
    for (const auto& [control, text, said] : rows) {
        SCOPED_TRACE(host::to_utf8(text));
        desk.fill({{IDC_ADDRESS, L"a"}, {IDC_NAME, L"n"}, {IDC_PORT, L"9"}});
        ASSERT_TRUE(desk.enabled(IDOK));
        desk.fill({{control, text}});
        EXPECT_EQ(desk.enabled(IDOK), said == nullptr);
        EXPECT_EQ(desk.enabled(IDC_TEST), said == nullptr || control == IDC_NAME);
        if (said == nullptr) continue;
        const int note = control + 1;
        desk.expect({{note, said}});
        Desk::key(VK_RETURN);  // does nothing, and nor does a program that presses OK
        SendMessageW(desk.dialog(), WM_COMMAND, IDOK, 0);
        // Keys are seen in their order: once this one has moved the caret, so was the one before.
        SendMessageW(port, EM_SETSEL, 1, 1);
        Desk::key(VK_HOME);
        EXPECT_TRUE(wait_until([port] { return LOWORD(SendMessageW(port, EM_GETSEL, 0, 0)) == 0; }));
        desk.expect({{note, said}});
    }
    desk.fill({{IDC_ADDRESS, L"printer12.example:9100"}, {IDC_NAME, L"Room 12, left"}});
    desk.take("add-mistakes");
    Desk::key(VK_ESCAPE);
    desk.expect_end(ERROR_CANCELLED);
    EXPECT_EQ(asked().size(), 1u) << "nothing but the right to add was asked for";
}

TEST_P(PortDialog, TextsEndWhereTheFieldsEnd) {
    Desk desk = add_port();
    desk.fill({{IDC_ADDRESS, std::wstring(129, L'a')}});
    desk.expect({{IDC_ADDRESS, std::wstring(128, L'a')},
                 {IDC_ADDRESS_NOTE, L"An address has at most 128 characters.*"},
                 {IDC_NAME, std::wstring(64, L'a')}});  // the proposed name fits
    desk.fill({{IDC_NAME, std::wstring(65, L'n')}});
    desk.expect({{IDC_NAME, std::wstring(64, L'n')}, {IDC_NAME_NOTE, L"A name has at most 64 characters.*"}});
    desk.click(IDOK);
    expect_added(desk);
    EXPECT_EQ(asked()[2], "TSAddPort " + std::string(64, 'n') + "|" + std::string(128, 'a') + "|9100");
}

TEST_P(PortDialog, ANameThatIsTakenIsAskedForAgainAndNothingIsLost) {
    answer = [](const std::string& command) {
        return command.starts_with("TSAddPort Office|") ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS;
    };
    Desk desk = add_port();
    desk.fill({{IDC_ADDRESS, L"10.1.2.3"}, {IDC_NAME, L"Office"}, {IDC_PORT, L"9101"}});
    Desk::key(VK_RETURN);
    desk.expect({{IDC_NAME_NOTE, L"A port with this name already exists. Type another name."}});
    EXPECT_TRUE(wait_until([&] { return !desk.enabled(IDOK); }));
    Desk::type(L"Office 2");  // the focus is there
    desk.expect({{IDC_ADDRESS, L"10.1.2.3"}, {IDC_NAME, L"Office 2"}, {IDC_PORT, L"9101"}});
    Desk::key(VK_RETURN);
    expect_added(desk);
    EXPECT_EQ(asked()[4], "TSAddPort Office 2|10.1.2.3|9101");
}

TEST_P(PortDialog, AFailureIsSaidAndWhatWasTypedIsKept) {
    const struct {
        DWORD answer;
        bool answers;  // the server
        const WCHAR* said;
    } rows[] = {
        {ERROR_DISK_FULL, true, L"The port was not added: *\n\n*"},
        {ERROR_ACCESS_DENIED, true, L"You do not have the right to change ports on \\\\print1.\n\n*"},
        {0, false, L"The print spooler on \\\\print1 cannot be reached: *\n\n*"},
    };
    DWORD error = 0;
    answer = [&](const std::string&) { return error; };
    Desk desk = add_port(L"print1");
    desk.fill({{IDC_ADDRESS, L"10.1.2.3"}});
    for (const auto& row : rows) {
        error = row.answer;
        if (!row.answers) spooler_sim::stop_server(L"\\\\print1");
        desk.click(IDOK);
        desk.expect_box(row.said);
        desk.expect({{IDC_ADDRESS, L"10.1.2.3"}});
    }
    spooler_sim::add_server(L"\\\\print1");
    desk.click(IDOK);
    expect_added(desk);
}

TEST_P(PortDialog, ConfigureShowsWhatIsSetAndSendsOnlyWhatChanged) {
    config = host::port_config(L"Office", L"10.1.2.3", 515);
    {
        Desk desk = configure_port(L"office");
        desk.expect({{kTitle, L"Configure Tessaron TCP/IP Port"},
                     {IDC_ADDRESS, L"10.1.2.3"},
                     {IDC_NAME, L"Office"},
                     {IDC_PORT, L"515"}});
        Desk::key(VK_RETURN);
        desk.expect_end(ERROR_CANCELLED);
        EXPECT_EQ(asked(), (std::vector<std::string>{"open office 1", "TSGetConfigInfo"}));
    }
    Desk desk = configure_port(L"office");
    Desk::key(VK_TAB);
    Desk::type(L"x");  // the name is for reading
    Desk::key(VK_TAB);
    Desk::type(L"9100");
    desk.expect({{IDC_PORT, L"9100"}, {IDC_NAME, L"Office"}});
    desk.take("configure");
    Desk::key(VK_RETURN);
    desk.expect_end(ERROR_SUCCESS);
    EXPECT_EQ(asked().back(), "TSConfigPort Office|10.1.2.3|9100");
}

// Settings that were written by hand.
TEST_P(PortDialog, ConfigureMendsWhatNobodyWouldBeAllowedToType) {
    set_ports({L"Room 12, left"});
    config = host::port_config(L"Room 12, left", L"10.1.2.3:9100", 700000);
    config.printer_address[127] = L'x';  // behind the text
    Desk desk = configure_port(L"Room 12, left");
    desk.expect({{IDC_NAME, L"Room 12, left"},
                 {IDC_ADDRESS_NOTE, L"Type the port in its own field*"},
                 {IDC_PORT_NOTE, L"Type a number*"}});
    desk.fill({{IDC_ADDRESS, L"10.1.2.3"}, {IDC_PORT, L"9100"}});
    desk.click(IDOK);
    desk.expect_end(ERROR_SUCCESS);
}

TEST_P(PortDialog, APortThatIsGoneOrNotStoredIsSaidWhenItIsChanged) {
    config = host::port_config(L"Office", L"10.1.2.3", 9100);
    DWORD error = ERROR_INVALID_PARAMETER;
    answer = [&](const std::string& command) { return command.starts_with("TSConfigPort") ? error : ERROR_SUCCESS; };
    Desk desk = configure_port(L"Office");
    desk.fill({{IDC_ADDRESS, L"10.9.9.9"}});
    for (const WCHAR* const said : {L"The port was not changed: either*", L"The port was not changed: *(error 112)*"}) {
        desk.click(IDOK);
        desk.expect_box(said);
        error = ERROR_DISK_FULL;
    }
    Desk::key(VK_ESCAPE);
    desk.expect_end(ERROR_CANCELLED);
}

// -- The test of the printer -----------------------------------------------------------------------------------------

using PrinterTest = Dialogs;
INSTANTIATE_TEST_SUITE_P(Spooler, PrinterTest, testing::Values(true));

// Starts a test of this address. What was said of another one is taken back.
void test(const Desk& desk, const std::wstring& address, std::uint32_t port) {
    desk.fill({{IDC_ADDRESS, address}, {IDC_PORT, std::to_wstring(port)}});
    desk.expect({{IDC_TEST_RESULT, L""}});
    Desk::alt(L'T');
}

void cancel(Desk& desk) {
    Desk::key(VK_ESCAPE);
    desk.expect_end(ERROR_CANCELLED);
}

TEST_P(PrinterTest, SaysInWordsWhatHappened) {
    test_printer::TcpPrinter printer;
    const std::wstring port = std::to_wstring(printer.port());
    Desk desk = add_port();
    test(desk, L"127.0.0.1", printer.port());
    desk.expect({{IDC_TEST_RESULT, L"Success: the printer accepts connections on port " + port + L"."}});
    desk.take("add");
    EXPECT_TRUE(printer.wait_for_ends(1));
    EXPECT_EQ(printer.connection(0).bytes, 0u) << "a test prints nothing";
    printer.refuse();
    test(desk, L"127.0.0.1", printer.port());
    desk.expect({{IDC_TEST_RESULT, L"The device at this address refuses connections on port " + port + L".*"}});
    test(desk, L"no..such.host", 9100);
    desk.expect({{IDC_TEST_RESULT, L"This name cannot be resolved.*"}});
    cancel(desk);
    EXPECT_EQ(asked().size(), 1u) << "this computer's printers are tested from here";
}

TEST_P(PrinterTest, APrinterThatNeverAnswersBlocksNothingAndIsGivenUp) {
    const SilentPrinter printer;
    const std::wstring connecting = L"Connecting to port " + std::to_wstring(printer.port) + L".*";
    Desk desk = add_port();
    test(desk, L"127.0.0.1", printer.port);
    desk.expect({{IDC_TEST_RESULT, connecting}, {IDC_TEST, L"S&top"}});
    desk.fill({{IDC_NAME, L"typed meanwhile"}});
    desk.expect({{IDC_TEST, L"S&top"}});  // the name has nothing to do with the test
    Desk::alt(L'T');
    desk.expect({{IDC_TEST_RESULT, L"The test was stopped."}, {IDC_TEST, L"&Test"}});
    Desk::alt(L'T');
    desk.expect({{IDC_TEST_RESULT, connecting}});
    desk.fill({{IDC_ADDRESS, L"127.0.0.2"}});  // another address: the test says nothing of it
    desk.expect({{IDC_TEST_RESULT, L""}, {IDC_TEST, L"&Test"}});
    test(desk, L"127.0.0.1", printer.port);
    cancel(desk);
    // The limit of the dialog is ten seconds; here it is a short one.
    EXPECT_EQ(contract::CheckPrinter(L"127.0.0.1", printer.port, 100).verdict, contract::Verdict::no_answer);
}

TEST_P(PrinterTest, AnotherServerIsAskedAndItsAnswerIsSaid) {
    const struct {
        DWORD answer;
        const WCHAR* address;
        const WCHAR* said;
    } rows[] = {
        {ERROR_SUCCESS, L"10.1.2.3", L"Success: the printer accepts connections from \\\\print1 on port 9100."},
        {ERROR_INVALID_FUNCTION, L"10.1.2.4", L"\\\\print1 cannot connect to the printer on port 9100. Check*"},
        {RPC_S_CALL_FAILED, L"10.1.2.5", L"The test could not be carried out: *(error 1726)"},
    };
    DWORD error = ERROR_SUCCESS;
    answer = [&](const std::string&) { return error; };
    Desk desk = add_port(L"\\\\print1");
    desk.expect({{kTitle, L"Add Tessaron TCP/IP Port on \\\\print1"}});
    for (const auto& row : rows) {
        error = row.answer;
        test(desk, row.address, 9100);
        desk.expect({{IDC_TEST_RESULT, row.said}});
    }
    cancel(desk);
    const std::vector<std::string> all = asked();
    EXPECT_EQ(
        std::vector(all.begin(), all.begin() + 3),
        (std::vector<std::string>{"open \\\\print1\\Tessaron TCP/IP Port 1", "open \\\\print1\\Tessaron TCP/IP Port 2",
                                  "TSPortIsValid 10.1.2.3|10.1.2.3|9100"}));
}

TEST_P(PrinterTest, AServerThatDoesNotAnswerBlocksNothing) {
    const HANDLE answers = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::atomic<int> waiting = 0;
    answer = [&](const std::string&) {
        ++waiting;
        return WaitForSingleObject(answers, INFINITE);
    };
    Desk desk = add_port(L"\\\\print1");
    test(desk, L"10.1.2.3", 9100);
    desk.expect({{IDC_TEST_RESULT, L"\\\\print1 is connecting to port 9100.*"}});
    EXPECT_TRUE(wait_until([&] { return waiting == 1; }));
    desk.click(IDC_TEST);
    desk.expect({{IDC_TEST_RESULT, L"The test was stopped."}});
    desk.click(IDC_TEST);
    EXPECT_TRUE(wait_until([&] { return waiting == 2; }));
    cancel(desk);  // without waiting for the server
    SetEvent(answers);
    EXPECT_TRUE(wait_until([&] { return channels() == 0; }));
    CloseHandle(answers);
}

TEST_P(PrinterTest, AHundredDialogsLeaveNothingBehind) {
    const SilentPrinter printer;
    config = host::port_config(L"Office", L"127.0.0.1", printer.port);
    const auto show = [](int dialogs) {
        std::atomic<int> shown = 0;
        Desk desk([&](HWND window) -> BOOL {
            for (; shown < dialogs; ++shown) functions().pfnConfigurePortUI(nullptr, window, L"Office");
            return TRUE;
        });
        for (int i = 0; i < dialogs; ++i) {
            desk.click(IDC_TEST);
            desk.expect({{IDC_TEST_RESULT, L"Connecting*"}});
            PostMessageW(desk.dialog(), WM_COMMAND, IDCANCEL, 0);
            desk.next();
        }
        desk.expect_end(ERROR_SUCCESS);
    };
    show(10);
    const size_t handles_before = test::handles_of_all_kinds();
    const size_t memory_before = test::memory_in_use();
    show(100);
    EXPECT_TRUE(wait_until([&] { return test::handles_of_all_kinds() <= handles_before + 50; }))
        << handles_before << ", now " << test::handles_of_all_kinds();
    // Wine itself keeps up to 3 KiB for each thread that has ended (Wine 10); a test of a printer takes more than 4.
    EXPECT_LE(test::memory_in_use(), memory_before + 100 * 4096);
}

}  // namespace
}  // namespace ui
