// The dialog in which a port is added or configured.
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "testbed/test_printer/tcp_printer.h"
#include "tests/ui/dialogs.h"
#include "winportmon/tsmonui/probe.h"

namespace ui {
namespace {

using PortDialog = Dialogs;
BOTH_MODES(PortDialog);

// As somebody does it who leaves the mouse alone.
TEST_P(PortDialog, APortIsAddedWithTheKeyboardAlone) {
    PWSTR name = nullptr;  // of the new port, for the caller
    const auto desk =
        std::make_unique<Desk>([&](HWND window) { return functions().pfnAddPortUI(nullptr, window, nullptr, &name); });
    const HWND dialog = desk->front();
    ASSERT_NE(dialog, nullptr);
    EXPECT_TEXT(text_of(dialog), L"Add Tessaron TCP/IP Port");
    EXPECT_FALSE(Desk::enabled(dialog, IDOK));
    EXPECT_FALSE(Desk::enabled(dialog, IDC_TEST));
    take(dialog, "add-empty");
    EXPECT_TEXT(text_of(dialog, IDC_PORT), L"9100");

    desk->type(L"printer12.example");
    ASSERT_TRUE(Desk::shows(dialog, IDC_NAME, L"printer12.example")) << "the address is proposed as the name";
    EXPECT_TRUE(Desk::enabled(dialog, IDOK));
    desk->key(VK_TAB);
    desk->type(L"B\u00fcro");  // takes the place of what was proposed
    ASSERT_TRUE(Desk::shows(dialog, IDC_NAME, L"B\u00fcro"));
    desk->alt(L'A');
    desk->type(L"10.1.2.3");
    ASSERT_TRUE(Desk::shows(dialog, IDC_ADDRESS, L"10.1.2.3"));
    EXPECT_TEXT(text_of(dialog, IDC_NAME), L"B\u00fcro") << "a name that was typed stays";
    desk->alt(L'P');
    desk->type(L"515");
    ASSERT_TRUE(Desk::shows(dialog, IDC_PORT, L"515"));
    desk->key(VK_RETURN);
    expect_added(*desk, dialog);

    std::vector<std::string> asked = {"open Tessaron TCP/IP Port 1", "open Tessaron TCP/IP Port 1", "send TSAddPort"};
    if (!GetParam()) asked.push_back("open " + utf8(L"B\u00fcro") + " 2");  // whether the spooler knows it
    EXPECT_EQ(spooler.asked(), asked);
    const contract::PortConfig sent = spooler.sent();
    EXPECT_TEXT(sent.port_name, L"B\u00fcro");
    EXPECT_TEXT(sent.printer_address, L"10.1.2.3");
    EXPECT_EQ(sent.port_number, 515u);
    ASSERT_NE(name, nullptr);
    EXPECT_TEXT(name, L"B\u00fcro");
    LocalFree(name);
}

TEST_P(PortDialog, WhatIsWrongIsSaidBesideTheField) {
    const struct {
        int control;
        int note;
        const WCHAR* text;
        const WCHAR* said;  // null: nothing, and OK is on
    } rows[] = {
        {IDC_ADDRESS, IDC_ADDRESS_NOTE, L"",
         L"Type the printer's name or IP address, such as printer12 or 192.168.1.20."},
        {IDC_ADDRESS, IDC_ADDRESS_NOTE, L"10.1. 2.3", L"The address contains a blank. Remove it."},
        {IDC_ADDRESS, IDC_ADDRESS_NOTE, L" 10.1.2.3 ", nullptr},
        {IDC_ADDRESS, IDC_ADDRESS_NOTE, L"http://10.1.2.3",
         L"Type only the printer's name or IP address: \"10.1.2.3\"."},
        {IDC_ADDRESS, IDC_ADDRESS_NOTE, L"//",
         L"Type the printer's name or IP address, such as printer12 or 192.168.1.20."},
        {IDC_ADDRESS, IDC_ADDRESS_NOTE, L"999.1.1.1",
         L"An IP address has four numbers from 0 to 255, without leading zeros, such as 192.168.1.20."},
        {IDC_ADDRESS, IDC_ADDRESS_NOTE, L"printer\u200B12",
         L"The address contains invisible characters. Type it again."},
        {IDC_ADDRESS, IDC_ADDRESS_NOTE, L"10.1.2.3:9101",
         L"Type the port in its own field: \"10.1.2.3\" here, 9101 under \"TCP port\"."},
        {IDC_ADDRESS, IDC_ADDRESS_NOTE, L"[fe80::1]", L"Type only the printer's name or IP address: \"fe80::1\"."},
        {IDC_ADDRESS, IDC_ADDRESS_NOTE, L"fe80::1", nullptr},
        {IDC_NAME, IDC_NAME_NOTE, L"", L"Type a name for the port."},
        {IDC_NAME, IDC_NAME_NOTE, L"left\\right", L"The name contains a backslash. Remove it."},
        {IDC_NAME, IDC_NAME_NOTE, L"Room 12, left",
         L"The name contains a comma. Remove it: Windows separates a printer's ports by commas."},
        {IDC_NAME, IDC_NAME_NOTE, L"Room\u00A012",
         L"The name contains invisible characters or unusual blanks. Type it again."},
        {IDC_NAME, IDC_NAME_NOTE, L"lpt1:", L"Windows has its own port of this name. Type another name."},
        {IDC_NAME, IDC_NAME_NOTE, L"TS001",
         L"Windows deletes printers whose port's name begins with TS and a digit. Type another name."},
        {IDC_PORT, IDC_PORT_NOTE, L"0", L"Type a number from 1 to 65535."},
        {IDC_PORT, IDC_PORT_NOTE, L"65536", L"Type a number from 1 to 65535."},
        {IDC_PORT, IDC_PORT_NOTE, L"65535", nullptr},
    };
    const auto desk = add_port();
    const HWND dialog = desk->front();
    ASSERT_NE(dialog, nullptr);
    for (const auto& row : rows) {
        SCOPED_TRACE(utf8(row.text));
        for (const auto& [control, text] : {std::pair(IDC_ADDRESS, L"a"), {IDC_NAME, L"n"}, {IDC_PORT, L"9"}}) {
            ASSERT_TRUE(desk->fill(dialog, control, text));
        }
        ASSERT_TRUE(Desk::enabled(dialog, IDOK));
        EXPECT_TRUE(desk->fill(dialog, row.control, row.text));
        if (row.said != nullptr) {
            EXPECT_TRUE(Desk::shows(dialog, row.note, row.said));
            EXPECT_TRUE(fits(dialog, row.note));
        }
        EXPECT_TRUE(wait_until([&] { return Desk::enabled(dialog, IDOK) == (row.said == nullptr); }));
        EXPECT_EQ(Desk::enabled(dialog, IDC_TEST), row.said == nullptr || row.control == IDC_NAME);
        if (row.said == nullptr) continue;
        desk->key(VK_RETURN);  // does nothing, and nor does a program that presses OK
        SendMessageW(dialog, WM_COMMAND, IDOK, 0);
        EXPECT_TRUE(desk->alive(dialog));
        EXPECT_NE(text_of(dialog, row.note), L"");
    }
    desk->fill(dialog, IDC_ADDRESS, L"printer12.example:9100");
    desk->fill(dialog, IDC_NAME, L"Room 12, left");
    take(dialog, "add-mistakes");
    desk->key(VK_ESCAPE);
    expect_end(*desk, ERROR_CANCELLED);
    EXPECT_EQ(spooler.asked().size(), 1u) << "nothing but the right to add was asked for";
}

TEST_P(PortDialog, TextsEndWhereTheFieldsEnd) {
    const auto desk = add_port();
    const HWND dialog = desk->front();
    desk->paste(dialog, IDC_ADDRESS, std::wstring(129, L'a'));
    EXPECT_TRUE(Desk::shows(dialog, IDC_ADDRESS, std::wstring(128, L'a')));
    EXPECT_TRUE(Desk::begins(dialog, IDC_ADDRESS_NOTE, L"An address has at most 128 characters."));
    EXPECT_TEXT(text_of(dialog, IDC_NAME), std::wstring(64, L'a')) << "the proposed name fits";
    desk->paste(dialog, IDC_NAME, std::wstring(65, L'n'));
    EXPECT_TRUE(Desk::shows(dialog, IDC_NAME, std::wstring(64, L'n')));
    EXPECT_TRUE(Desk::begins(dialog, IDC_NAME_NOTE, L"A name has at most 64 characters."));
    EXPECT_TRUE(fits(dialog, IDC_ADDRESS_NOTE));
    EXPECT_TRUE(fits(dialog, IDC_NAME_NOTE));
    desk->click(dialog, IDOK);
    expect_added(*desk, dialog);
    EXPECT_TEXT(spooler.sent().printer_address, std::wstring(128, L'a'));
    EXPECT_TEXT(spooler.sent().port_name, std::wstring(64, L'n'));
}

TEST_P(PortDialog, ANameThatIsTakenIsAskedForAgainAndNothingIsLost) {
    spooler.send = [this](const std::wstring&) {
        return std::wstring(spooler.sent().port_name) == L"Office" ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS;
    };
    const auto desk = add_port();
    const HWND dialog = desk->front();
    ASSERT_TRUE(desk->fill(dialog, IDC_ADDRESS, L"10.1.2.3"));
    ASSERT_TRUE(desk->fill(dialog, IDC_NAME, L"Office"));
    ASSERT_TRUE(desk->fill(dialog, IDC_PORT, L"9101"));
    desk->key(VK_RETURN);
    EXPECT_TRUE(Desk::shows(dialog, IDC_NAME_NOTE, L"A port with this name already exists. Type another name."));
    EXPECT_TRUE(wait_until([&] { return !Desk::enabled(dialog, IDOK); }));
    desk->type(L"Office 2");  // the focus is there
    ASSERT_TRUE(Desk::shows(dialog, IDC_NAME, L"Office 2"));
    EXPECT_TEXT(text_of(dialog, IDC_ADDRESS), L"10.1.2.3");
    EXPECT_TEXT(text_of(dialog, IDC_PORT), L"9101");
    desk->key(VK_RETURN);
    expect_added(*desk, dialog);
    EXPECT_TEXT(spooler.sent().port_name, L"Office 2");
}

TEST_P(PortDialog, AFailureIsSaidAndWhatWasTypedIsKept) {
    const struct {
        DWORD sent;
        bool answers;  // the server
        const WCHAR* said;
    } rows[] = {
        {ERROR_DISK_FULL, true, L"The port was not added: "},
        {ERROR_ACCESS_DENIED, true, L"You do not have the right to change ports on \\\\print1."},
        {0, false, L"The print spooler on \\\\print1 cannot be reached: "},
    };
    DWORD sent = 0;
    spooler.send = [&](const std::wstring&) { return sent; };
    const auto desk = add_port(L"print1");
    const HWND dialog = desk->front();
    ASSERT_TRUE(desk->fill(dialog, IDC_ADDRESS, L"10.1.2.3"));
    for (const auto& row : rows) {
        sent = row.sent;
        if (!row.answers) spooler_sim::stop_server(L"\\\\print1");
        desk->click(dialog, IDOK);
        const HWND box = desk->front(dialog);
        ASSERT_NE(box, nullptr);
        const std::wstring said = Desk::message(box);
        EXPECT_TRUE(said.starts_with(row.said)) << utf8(said);
        EXPECT_NE(said.find(L"\n\n"), std::wstring::npos) << "no next step: " << utf8(said);
        desk->key(VK_RETURN);
        ASSERT_EQ(desk->front(box), dialog);
        EXPECT_TEXT(text_of(dialog, IDC_ADDRESS), L"10.1.2.3");
    }
    spooler_sim::add_server(L"\\\\print1");
    desk->click(dialog, IDOK);
    expect_added(*desk, dialog);
}

TEST_P(PortDialog, ConfigureShowsWhatIsSetAndSendsOnlyWhatChanged) {
    spooler.config = make_config(L"Office", L"10.1.2.3", 515);
    auto desk = configure_port(L"office");
    HWND dialog = desk->front();
    EXPECT_TEXT(text_of(dialog), L"Configure Tessaron TCP/IP Port");
    EXPECT_TEXT(text_of(dialog, IDC_ADDRESS), L"10.1.2.3");
    EXPECT_TEXT(text_of(dialog, IDC_NAME), L"Office");
    EXPECT_TEXT(text_of(dialog, IDC_PORT), L"515");
    desk->key(VK_TAB);
    desk->type(L"x");  // the name is for reading
    desk->key(VK_RETURN);
    expect_end(*desk, ERROR_CANCELLED);
    EXPECT_EQ(spooler.asked(), (std::vector<std::string>{"open office 1", "send TSGetConfigInfo"}));

    desk = configure_port(L"office");
    dialog = desk->front();
    ASSERT_TRUE(desk->fill(dialog, IDC_PORT, L"9100"));
    take(dialog, "configure");
    desk->key(VK_RETURN);
    expect_end(*desk, ERROR_SUCCESS);
    EXPECT_EQ(spooler.asked().back(), "send TSConfigPort");
    EXPECT_TEXT(spooler.sent().port_name, L"Office");
    EXPECT_TEXT(spooler.sent().printer_address, L"10.1.2.3");
    EXPECT_EQ(spooler.sent().port_number, 9100u);
}

// Settings that were written by hand.
TEST_P(PortDialog, ConfigureMendsWhatNobodyWouldBeAllowedToType) {
    spooler.ports = {L"Room 12, left"};
    spooler_sim::set_strict_port_list(GetParam());  // with this one
    spooler.config = make_config(L"Room 12, left", L"10.1.2.3:9100", 700000);
    spooler.config.printer_address[127] = L'x';  // behind the text
    const auto desk = configure_port(L"Room 12, left");
    const HWND dialog = desk->front();
    EXPECT_TEXT(text_of(dialog, IDC_NAME), L"Room 12, left");
    EXPECT_TRUE(Desk::begins(dialog, IDC_ADDRESS_NOTE, L"Type the port in its own field"));
    EXPECT_TRUE(Desk::begins(dialog, IDC_PORT_NOTE, L"Type a number"));
    ASSERT_TRUE(desk->fill(dialog, IDC_ADDRESS, L"10.1.2.3"));
    ASSERT_TRUE(desk->fill(dialog, IDC_PORT, L"9100"));
    desk->click(dialog, IDOK);
    expect_end(*desk, ERROR_SUCCESS);
}

TEST_P(PortDialog, APortThatIsGoneOrNotStoredIsSaidWhenItIsChanged) {
    spooler.config = make_config(L"Office", L"10.1.2.3", 9100);
    DWORD error = ERROR_INVALID_PARAMETER;
    spooler.send = [&](const std::wstring& command) {
        return command == L"TSConfigPort" ? error : DWORD{ERROR_SUCCESS};
    };
    const auto desk = configure_port(L"Office");
    const HWND dialog = desk->front();
    ASSERT_TRUE(desk->fill(dialog, IDC_ADDRESS, L"10.9.9.9"));
    for (const WCHAR* const said : {L"The port was not changed: either", L"The port was not changed: "}) {
        desk->click(dialog, IDOK);
        const HWND box = desk->front(dialog);
        EXPECT_TRUE(Desk::message(box).starts_with(said)) << utf8(Desk::message(box));
        desk->key(VK_RETURN);
        ASSERT_EQ(desk->front(box), dialog);
        error = ERROR_DISK_FULL;
    }
    desk->key(VK_ESCAPE);
    expect_end(*desk, ERROR_CANCELLED);
}

// -- The test of the printer -----------------------------------------------------------------------------------------

class PrinterTest : public Dialogs {
  protected:
    // Starts a test of this address, from the dialog of that server.
    HWND test(const std::wstring& address, uint32_t port, const WCHAR* server = nullptr) {
        if (desk_ == nullptr) {
            desk_ = add_port(server);
            dialog_ = desk_->front();
        }
        EXPECT_TRUE(desk_->fill(dialog_, IDC_ADDRESS, address));
        EXPECT_TRUE(desk_->fill(dialog_, IDC_PORT, std::to_wstring(port)));
        EXPECT_TRUE(Desk::shows(dialog_, IDC_TEST_RESULT, L"")) << "what was said of another address is taken back";
        desk_->alt(L'T');
        return dialog_;
    }
    bool says(const std::wstring& beginning) {
        return Desk::begins(dialog_, IDC_TEST_RESULT, beginning) && fits(dialog_, IDC_TEST_RESULT);
    }
    void cancel() {
        desk_->key(VK_ESCAPE);
        expect_end(*desk_, ERROR_CANCELLED);
    }

    std::unique_ptr<Desk> desk_;
    HWND dialog_ = nullptr;
};

INSTANTIATE_TEST_SUITE_P(Spooler, PrinterTest, testing::Values(true));

TEST_P(PrinterTest, SaysInWordsWhatHappened) {
    test_printer::TcpPrinter printer;
    const std::wstring port = std::to_wstring(printer.port());
    test(L"127.0.0.1", printer.port());
    EXPECT_TRUE(says(L"Success: the printer accepts connections on port " + port + L"."));
    take(dialog_, "add");
    EXPECT_TRUE(printer.wait_for_ends(1));
    EXPECT_EQ(printer.connection(0).bytes, 0u) << "a test prints nothing";
    printer.refuse();
    test(L"127.0.0.1", printer.port());
    EXPECT_TRUE(says(L"The device at this address refuses connections on port " + port + L"."));
    test(L"no..such.host", 9100);
    EXPECT_TRUE(says(L"This name cannot be resolved."));
    cancel();
    EXPECT_EQ(spooler.asked().size(), 1u) << "this computer's printers are tested from here";
}

TEST_P(PrinterTest, APrinterThatNeverAnswersBlocksNothingAndIsGivenUp) {
    const SilentPrinter printer;
    const HWND dialog = test(L"127.0.0.1", printer.port);
    EXPECT_TRUE(says(L"Connecting to port " + std::to_wstring(printer.port) + L"."));
    EXPECT_TRUE(Desk::shows(dialog, IDC_TEST, L"S&top"));
    for (int i = 0; i < 20; ++i) EXPECT_TRUE(desk_->alive(dialog));
    EXPECT_TRUE(desk_->fill(dialog, IDC_NAME, L"typed meanwhile"));
    EXPECT_TRUE(Desk::shows(dialog, IDC_TEST, L"S&top")) << "the name has nothing to do with the test";
    desk_->alt(L'T');
    EXPECT_TRUE(says(L"The test was stopped."));
    EXPECT_TRUE(Desk::shows(dialog, IDC_TEST, L"&Test"));
    desk_->alt(L'T');
    EXPECT_TRUE(says(L"Connecting"));
    ASSERT_TRUE(desk_->fill(dialog, IDC_ADDRESS, L"127.0.0.2"));  // another address: the test says nothing of it
    EXPECT_TRUE(Desk::shows(dialog, IDC_TEST_RESULT, L""));
    EXPECT_TRUE(Desk::shows(dialog, IDC_TEST, L"&Test"));
    test(L"127.0.0.1", printer.port);
    cancel();
}

// The limit of the dialog is ten seconds; here it is a short one.
TEST_P(PrinterTest, NoAnswerInTimeIsToldFromAllElse) {
    const SilentPrinter printer;
    Desk desk([&](HWND window) -> BOOL {
        const tsmonui::Server here(nullptr);
        const contract::PortConfig config = make_config(L"", L"127.0.0.1", printer.port);
        tsmonui::Probe* const probe = tsmonui::StartProbe({here, L"", config, 100, window, WM_APP, 77});
        MSG message = {};
        while (GetMessageW(&message, window, 0, 0) > 0 && message.message != WM_APP) DispatchMessageW(&message);
        const tsmonui::ProbeResult result = tsmonui::ResultOf(probe);
        tsmonui::EndProbe(probe);
        return message.wParam == 77 && result.check.verdict == contract::Verdict::no_answer;
    });
    ASSERT_TRUE(desk.ended());
    EXPECT_TRUE(desk.result());
}

TEST_P(PrinterTest, AnotherServerIsAskedAndItsAnswerIsSaid) {
    DWORD answer = ERROR_SUCCESS;
    spooler.send = [&](const std::wstring& command) {
        return command == L"TSPortIsValid" ? answer : DWORD{ERROR_SUCCESS};
    };
    test(L"10.1.2.3", 9100, L"\\\\print1");
    EXPECT_TRUE(says(L"Success: the printer accepts connections from \\\\print1 on port 9100."));
    const std::vector<std::string> asked = spooler.asked();
    ASSERT_EQ(asked.size(), 3u);
    EXPECT_EQ(asked[0], "open \\\\print1\\Tessaron TCP/IP Port 1");
    EXPECT_EQ(asked[1], "open \\\\print1\\Tessaron TCP/IP Port 2");
    EXPECT_TEXT(spooler.sent().printer_address, L"10.1.2.3");
    EXPECT_TEXT(text_of(dialog_), L"Add Tessaron TCP/IP Port on \\\\print1");
    answer = ERROR_INVALID_FUNCTION;
    test(L"10.1.2.4", 9100);
    EXPECT_TRUE(says(L"\\\\print1 cannot connect to the printer on port 9100. Check"));
    answer = RPC_S_CALL_FAILED;
    test(L"10.1.2.5", 9100);
    EXPECT_TRUE(says(L"The test could not be carried out: "));
    EXPECT_NE(text_of(dialog_, IDC_TEST_RESULT).find(L"(error 1726)"), std::wstring::npos);
    cancel();
}

TEST_P(PrinterTest, AServerThatDoesNotAnswerBlocksNothing) {
    const HANDLE answers = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::atomic<int> waiting = 0;
    spooler.send = [&](const std::wstring&) -> DWORD {
        ++waiting;
        WaitForSingleObject(answers, INFINITE);
        return ERROR_SUCCESS;
    };
    const HWND dialog = test(L"10.1.2.3", 9100, L"\\\\print1");
    EXPECT_TRUE(says(L"\\\\print1 is connecting to port 9100."));
    EXPECT_TRUE(wait_until([&] { return waiting == 1; }));
    EXPECT_TRUE(desk_->alive(dialog));
    desk_->click(dialog, IDC_TEST);
    EXPECT_TRUE(says(L"The test was stopped."));
    desk_->click(dialog, IDC_TEST);
    EXPECT_TRUE(wait_until([&] { return waiting == 2; }));
    desk_->key(VK_ESCAPE);
    ASSERT_TRUE(desk_->ended()) << "the dialog waits for the server";
    SetEvent(answers);
    expect_end(*desk_, ERROR_CANCELLED);
    CloseHandle(answers);
}

TEST_P(PrinterTest, AHundredDialogsLeaveNothingBehind) {
    const SilentPrinter printer;
    spooler.config = make_config(L"Office", L"127.0.0.1", printer.port);
    constexpr int kRounds = 5;
    constexpr int kDialogs = 20;  // in a round
    const auto show = [this](int dialogs) {
        std::atomic<int> shown = 0;
        Desk desk([&](HWND window) -> BOOL {
            for (; shown < dialogs; ++shown) functions().pfnConfigurePortUI(nullptr, window, L"Office");
            return TRUE;
        });
        HWND dialog = nullptr;
        for (int i = 0; i < dialogs; ++i) {
            EXPECT_TRUE(wait_until([&] { return shown == i; }));
            dialog = desk.front(dialog);
            ASSERT_NE(dialog, nullptr);
            PostMessageW(GetDlgItem(dialog, IDC_TEST), BM_CLICK, 0, 0);
            EXPECT_TRUE(Desk::begins(dialog, IDC_TEST_RESULT, L"Connecting"));
            PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
        }
        expect_end(desk, ERROR_SUCCESS);
    };
    show(10);
    const size_t handles_before = handles();
    const DWORD objects_before = GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS);
    // What leaks does so in each round; some heaps take a large block for many small ones now and then.
    ptrdiff_t least_growth = PTRDIFF_MAX;
    for (int round = 0; round < kRounds; ++round) {
        const size_t memory_before = memory();
        show(kDialogs);
        EXPECT_TRUE(wait_until([&] { return handles() <= handles_before + kDialogs / 2; }))
            << handles_before << " handles before, " << handles() << " now";
        least_growth = std::min(least_growth, static_cast<ptrdiff_t>(memory() - memory_before));
    }
    // Wine 8 itself keeps 168 bytes for each.
    EXPECT_LE(least_growth, 200 * kDialogs + kept_by_heap(kDialogs + 1));
    EXPECT_LE(GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS), objects_before);
}

}  // namespace
}  // namespace ui
