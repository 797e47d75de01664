// What is said before there is a dialog, and the question before a port is deleted.
#include "tests/ui/dialogs.h"
#include "winapi/spooler_sim/spooler_sim.h"

namespace ui {
namespace {

using Refusals = Dialogs;
BOTH_MODES(Refusals);

// Nobody can be asked, nothing is done.
TEST_P(Refusals, WithoutAWindowThereIsNoDialogButAnError) {
    for (const HWND window : {HWND{nullptr}, reinterpret_cast<HWND>(ULONG_PTR{0xDEAD})}) {
        const std::function<BOOL()> calls[] = {
            [&] { return functions().pfnAddPortUI(nullptr, window, nullptr, nullptr); },
            [&] { return functions().pfnConfigurePortUI(nullptr, window, L"Office"); },
            [&] { return functions().pfnDeletePortUI(nullptr, window, L"Office"); }};
        for (const auto& call : calls) {
            SetLastError(0);
            EXPECT_FALSE(call());
            EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_WINDOW_HANDLE});
        }
    }
    for (const WCHAR* const port : {static_cast<const WCHAR*>(nullptr), L""}) {
        for (const auto call : {configure_port, delete_port}) {
            Desk desk = call(port, nullptr);
            EXPECT_EQ(desk.dialog(), nullptr);
            desk.expect_end(ERROR_INVALID_PARAMETER);
        }
    }
    EXPECT_TRUE(asked().empty());
}

// What is longer than the buffer of a message is cut.
TEST_P(Refusals, ALongNameIsCut) {
    const std::wstring name = L"\\\\" + std::wstring(1000, L's');
    Desk desk = add_port(name.c_str());
    desk.expect({{kMessage, L"The print spooler on " + name.substr(0, 100) + L"*"}});
    Desk::key(VK_RETURN);
    desk.expect_end(ERROR_INVALID_NAME);
}

// Each in one message with the next step, before anything is typed.
TEST_P(Refusals, WhatCannotBeDoneIsSaidAtOnce) {
    const auto add = [] { return add_port(); };
    const auto add_there = [] { return add_port(L"\\\\print1"); };
    const auto configure = [] { return configure_port(L"Office"); };
    const auto no_administrator = [] { spooler_sim::set_administrator(false); };
    const auto nothing = [] {};
    const std::wstring no_right = L"You do not have the right to change ports on ";
    const std::wstring no_port = L"There is no Tessaron TCP/IP Port \"Office\" on ";
    const std::wstring unreachable = L"The print spooler on ";
    struct Row {
        void (*before)();
        DWORD answer;  // to a command; 0: the error comes from the spooler
        Desk (*start)();
        DWORD error;
        std::wstring said;
    };
    std::vector<Row> rows = {
        {no_administrator, 0, add, ERROR_ACCESS_DENIED, no_right + L"this computer."},
        {no_administrator, 0, add_there, ERROR_ACCESS_DENIED, no_right + L"\\\\print1."},
        {no_administrator, 0, configure, ERROR_ACCESS_DENIED, no_right},
        {no_administrator, 0, [] { return delete_port(L"Office"); }, ERROR_ACCESS_DENIED, no_right},
        {nothing, ERROR_ACCESS_DENIED, configure, ERROR_ACCESS_DENIED, no_right},
        {[] { spooler_sim::stop_server(L"\\\\print1"); }, 0, add_there, RPC_S_SERVER_UNAVAILABLE,
         unreachable + L"\\\\print1 cannot be reached: "},
        {nothing, ERROR_INVALID_PARAMETER, [] { return configure_port(L"Office", L"print1"); }, ERROR_INVALID_PARAMETER,
         no_port + L"\\\\print1."},
        {remove_monitor, 0, add, ERROR_INVALID_PRINTER_NAME, unreachable + L"this computer cannot be reached: "},
        {remove_monitor, 0, configure, ERROR_INVALID_PRINTER_NAME, no_port},
    };
    if (GetParam()) {
        rows.insert(rows.begin(), {nothing, 0, [] { return delete_port(L"Hall"); }, ERROR_UNKNOWN_PORT,
                                   L"There is no Tessaron TCP/IP Port \"Hall\" on this computer"});
    }
    for (const Row& row : rows) {
        spooler_sim::set_administrator(true);
        spooler_sim::add_server(L"\\\\print1");
        row.before();
        answer = [&](const std::string&) { return row.answer; };
        Desk desk = row.start();
        desk.expect({{kMessage, row.said + L"*\n\n*"}});
        if (row.said == no_right + L"\\\\print1.") desk.take("no-right");
        Desk::key(VK_RETURN);
        desk.expect_end(row.error);
    }
}

// -- Deletion --------------------------------------------------------------------------------------------------------

using DeleteDialog = Dialogs;
BOTH_MODES(DeleteDialog);

TEST_P(DeleteDialog, APortThatNothingUsesIsDeletedByEnter) {
    spooler_sim::add_printer(L"Reception", L"Office 2");
    spooler_sim::add_printer(L"Hall");
    Desk desk = delete_port(L"Office");
    desk.expect({{kTitle, L"Delete Tessaron TCP/IP Port"},
                 {IDC_QUESTION, L"Delete the port \"Office\"?\n\nNo printer uses it."}});
    desk.take("delete");
    Desk::key(VK_RETURN);
    desk.expect_end(ERROR_SUCCESS);
    EXPECT_EQ(asked(), (std::vector<std::string>{"open Office 1", "open Office 1", "TSDeletePort Office"}));
}

TEST_P(DeleteDialog, PrintersThatUseThePortAreNamedAndEnterKeepsIt) {
    for (const auto& [name, port] :
         std::initializer_list<std::pair<std::wstring, std::wstring>>{{L"1", L"OFFICE"},
                                                                      {L"2", L"LPT1:,office"},
                                                                      {L"3", L"Office2"},
                                                                      {L"4", L"Hall, Office"},
                                                                      {L"5 & 6", L"office"}}) {
        spooler_sim::add_printer(L"\\\\print1\\" + name, port);
    }
    spooler_sim::add_printer(L"of another server", L"Office");
    {
        Desk desk = delete_port(L"Office", L"\\\\print1");
        desk.expect({{IDC_QUESTION, L"Delete the port \"Office\"?\n\nThese printers use it.*"},
                     {IDC_PRINTERS, L"\\\\print1\\1\n\\\\print1\\2\n\\\\print1\\4\n\\\\print1\\5 & 6\n"}});
        desk.take("delete-used");
        Desk::key(VK_RETURN);
        desk.expect_end(ERROR_CANCELLED);
        EXPECT_EQ(asked(), std::vector<std::string>{"open \\\\print1\\Office 1"});
    }
    Desk desk = delete_port(L"Office", L"\\\\print1");
    Desk::alt(L'D');
    desk.expect_end(ERROR_SUCCESS);
    EXPECT_EQ(asked().back(), "TSDeletePort Office");
}

TEST_P(DeleteDialog, ANameWithACommaIsFoundWholeAndTheLongestCanBeRead) {
    const std::wstring longest(64, L'W');
    set_ports({longest, L"Room 12, left"});
    delete_port(longest.c_str()).expect({{IDC_QUESTION, L"*No printer uses it."}});
    spooler_sim::add_printer(L"One", L"Room 12, left");
    spooler_sim::add_printer(L"Two", L"left");
    spooler_sim::add_printer(L"Three", longest);
    delete_port(longest.c_str()).expect({{IDC_QUESTION, L"*These printers use it.*"}});
    delete_port(L"Room 12, left").expect({{IDC_PRINTERS, L"One\n"}});
}

TEST_P(DeleteDialog, WhenThePrintersCannotBeListedThatIsSaid) {
    for (void (*const cause)() :
         {+[] { spooler_sim::stop_server(L"\\\\print1"); }, +[] { spooler_sim::set_lists_never_fit(true); }}) {
        spooler_sim::add_server(L"\\\\print1");
        opened = cause;
        delete_port(L"Office", L"print1")
            .expect({{IDC_QUESTION,
                      L"Delete the port \"Office\"?\n\nIt could not be determined which printers use it: *"}});
    }
}

TEST_P(DeleteDialog, ADeletionThatFailsIsSaid) {
    const struct {
        DWORD error;
        const WCHAR* said;
    } rows[] = {{ERROR_FILE_NOT_FOUND, L"There is no Tessaron TCP/IP Port \"Office\" on this computer.*"},
                {ERROR_ACCESS_DENIED, L"You do not have the right*"},
                {ERROR_BUSY, L"The port was not deleted: *"}};
    for (const auto& row : rows) {
        answer = [&](const std::string&) { return row.error; };
        Desk desk = delete_port(L"Office");
        desk.click(IDOK);
        desk.expect_box(row.said);
        desk.expect_end(row.error);
    }
}

}  // namespace
}  // namespace ui
