// What is said before there is a dialog, and the question before a port is deleted.
#include <functional>

#include "tests/ui/dialogs.h"

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
    EXPECT_TRUE(spooler.asked().empty());
    for (const WCHAR* const port : {static_cast<const WCHAR*>(nullptr), L""}) {
        for (const auto& desk : {configure_port(port), delete_port(port)}) {
            EXPECT_EQ(desk->front(), nullptr);
            expect_end(*desk, ERROR_INVALID_PARAMETER);
        }
    }
}

// Each in one message, before anything is typed.
TEST_P(Refusals, WhatCannotBeDoneIsSaidAtOnce) {
    using Desks = std::unique_ptr<Desk> (*)();
    const Desks add = [] { return add_port(); };
    const Desks add_there = [] { return add_port(L"\\\\print1"); };
    const Desks configure = [] { return configure_port(L"Office"); };
    const auto no_administrator = [] { spooler_sim::set_administrator(false); };
    const auto nothing = [] {};
    const std::wstring no_right = L"You do not have the right to change ports on ";
    const std::wstring no_port = L"There is no Tessaron TCP/IP Port \"Office\" on ";
    const std::wstring unreachable = L"The print spooler on ";
    struct Row {
        void (*before)();
        DWORD sent;  // what a command is answered; 0: the error comes from the spooler
        Desks start;
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
        {ScriptedSpooler::remove_monitor, 0, add, ERROR_INVALID_PRINTER_NAME,
         unreachable + L"this computer cannot be reached: "},
        {ScriptedSpooler::remove_monitor, 0, configure, ERROR_INVALID_PRINTER_NAME, no_port},
    };
    if (GetParam()) {
        rows.insert(rows.begin(), {nothing, 0, [] { return delete_port(L"Hall"); }, ERROR_UNKNOWN_PORT,
                                   L"There is no Tessaron TCP/IP Port \"Hall\" on this computer"});
    }
    for (const Row& row : rows) {
        SCOPED_TRACE(utf8(row.said));
        spooler_sim::set_administrator(true);
        spooler_sim::add_server(L"\\\\print1");
        row.before();
        spooler.send = [&](const std::wstring&) { return row.sent; };
        const auto desk = row.start();
        const HWND box = desk->front();
        ASSERT_NE(box, nullptr);
        EXPECT_TRUE(Desk::message(box).starts_with(row.said)) << utf8(Desk::message(box));
        EXPECT_NE(Desk::message(box).find(L"\n\n"), std::wstring::npos) << "no next step";
        if (row.start == add_there) take(box, "no-right");
        desk->key(VK_RETURN);
        expect_end(*desk, row.error);
    }
}

// -- Deletion --------------------------------------------------------------------------------------------------------

class DeleteDialog : public Dialogs {
  protected:
    static std::vector<std::wstring> listed(HWND dialog) {
        std::vector<std::wstring> lines;
        const LRESULT count = SendDlgItemMessageW(dialog, IDC_PRINTERS, LB_GETCOUNT, 0, 0);
        for (LRESULT i = 0; i < count; ++i) {
            WCHAR line[256] = {};
            SendDlgItemMessageW(dialog, IDC_PRINTERS, LB_GETTEXT, static_cast<WPARAM>(i),
                                reinterpret_cast<LPARAM>(line));
            lines.emplace_back(line);
        }
        return lines;
    }
    static void add_printers(const std::wstring& server,
                             const std::vector<std::pair<const WCHAR*, std::wstring>>& all) {
        for (const auto& [name, port] : all) spooler_sim::add_printer(server + name, port);
    }
};

BOTH_MODES(DeleteDialog);

TEST_P(DeleteDialog, APortThatNothingUsesIsDeletedByEnter) {
    spooler_sim::add_printer(L"Reception", L"Office 2");
    spooler_sim::add_printer(L"Hall");
    const auto desk = delete_port(L"Office");
    const HWND dialog = desk->front();
    EXPECT_TEXT(text_of(dialog), L"Delete Tessaron TCP/IP Port");
    EXPECT_TEXT(text_of(dialog, IDC_QUESTION), L"Delete the port \"Office\"?\n\nNo printer uses it.");
    take(dialog, "delete");
    desk->key(VK_RETURN);
    expect_end(*desk, ERROR_SUCCESS);
    EXPECT_EQ(spooler.asked(), (std::vector<std::string>{"open Office 1", "open Office 1", "send TSDeletePort"}));
    EXPECT_TEXT(spooler.sent_name(), L"Office");
}

TEST_P(DeleteDialog, PrintersThatUseThePortAreNamedAndEnterKeepsIt) {
    add_printers(L"\\\\print1\\", {{L"1", L"OFFICE"},
                                   {L"2", L"LPT1:,office"},
                                   {L"3", L"Office2"},
                                   {L"4", L"Hall, Office"},
                                   {L"5 & 6", L"office"}});
    spooler_sim::add_printer(L"of another server", L"Office");
    auto desk = delete_port(L"Office", L"\\\\print1");
    HWND dialog = desk->front();
    EXPECT_TRUE(Desk::begins(dialog, IDC_QUESTION, L"Delete the port \"Office\"?\n\nThese printers use it."));
    EXPECT_TRUE(fits(dialog, IDC_QUESTION));
    EXPECT_EQ(listed(dialog),
              (std::vector<std::wstring>{L"\\\\print1\\1", L"\\\\print1\\2", L"\\\\print1\\4", L"\\\\print1\\5 & 6"}));
    take(dialog, "delete-used");
    desk->key(VK_RETURN);
    expect_end(*desk, ERROR_CANCELLED);
    EXPECT_EQ(spooler.asked(), std::vector<std::string>{"open \\\\print1\\Office 1"});

    desk = delete_port(L"Office", L"\\\\print1");
    desk->front();
    desk->alt(L'D');
    expect_end(*desk, ERROR_SUCCESS);
    EXPECT_EQ(spooler.asked().back(), "send TSDeletePort");
}

TEST_P(DeleteDialog, ANameWithACommaIsFoundWholeAndTheLongestCanBeRead) {
    const std::wstring longest(64, L'W');
    spooler.ports = {longest, L"Room 12, left"};
    spooler_sim::set_strict_port_list(GetParam());  // with these
    EXPECT_TRUE(fits(delete_port(longest.c_str())->front(), IDC_QUESTION));
    add_printers(L"", {{L"One", L"Room 12, left"}, {L"Two", L"left"}, {L"Three", longest}});
    EXPECT_TRUE(fits(delete_port(longest.c_str())->front(), IDC_QUESTION));
    EXPECT_EQ(listed(delete_port(L"Room 12, left")->front()), std::vector<std::wstring>{L"One"});
}

TEST_P(DeleteDialog, WhenThePrintersCannotBeListedThatIsSaid) {
    spooler.opened = [] { spooler_sim::stop_server(L"\\\\print1"); };
    const auto desk = delete_port(L"Office", L"print1");
    const HWND dialog = desk->front();
    EXPECT_TRUE(Desk::begins(dialog, IDC_QUESTION,
                             L"Delete the port \"Office\"?\n\nIt could not be determined which printers use it: "));
    EXPECT_TRUE(fits(dialog, IDC_QUESTION));
}

TEST_P(DeleteDialog, ADeletionThatFailsIsSaid) {
    const struct {
        DWORD error;
        const WCHAR* said;
    } rows[] = {{ERROR_FILE_NOT_FOUND, L"There is no Tessaron TCP/IP Port \"Office\" on this computer."},
                {ERROR_ACCESS_DENIED, L"You do not have the right"},
                {ERROR_BUSY, L"The port was not deleted: "}};
    for (const auto& row : rows) {
        spooler.send = [&](const std::wstring&) { return row.error; };
        const auto desk = delete_port(L"Office");
        const HWND dialog = desk->front();
        desk->click(dialog, IDOK);
        const HWND box = desk->front(dialog);
        EXPECT_TRUE(Desk::message(box).starts_with(row.said)) << utf8(Desk::message(box));
        desk->key(VK_RETURN);
        expect_end(*desk, row.error);
    }
}

}  // namespace
}  // namespace ui
