// What is said before there is a dialog, and the question before a port is deleted.
#include <functional>

#include "tests/ui/dialogs.h"

namespace ui {
namespace {

using Refusals = Dialogs;

// Nobody can be asked, nothing is done.
TEST_F(Refusals, WithoutAWindowThereIsNoDialogButAnError) {
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
TEST_F(Refusals, WhatCannotBeDoneIsSaidAtOnce) {
    const std::wstring no_right = L"You do not have the right to change ports on ";
    const std::wstring no_server = L"The print spooler on this computer cannot be reached: ";
    const std::wstring no_port = L"There is no Tessaron TCP/IP Port \"Office\" on ";
    const struct {
        DWORD open;
        DWORD send;
        std::unique_ptr<Desk> (*start)();
        std::wstring said;
    } rows[] = {
        {ERROR_ACCESS_DENIED, 0, [] { return add_port(); }, no_right + L"this computer."},
        {ERROR_ACCESS_DENIED, 0, [] { return add_port(L"\\\\print1"); }, no_right + L"\\\\print1."},
        {ERROR_ACCESS_DENIED, 0, [] { return configure_port(L"Office"); }, no_right},
        {ERROR_ACCESS_DENIED, 0, [] { return delete_port(L"Office"); }, no_right},
        {0, ERROR_ACCESS_DENIED, [] { return configure_port(L"Office"); }, no_right},
        {RPC_S_SERVER_UNAVAILABLE, 0, [] { return add_port(); }, no_server},
        {ERROR_INVALID_PRINTER_NAME, 0, [] { return add_port(); }, no_server},
        {RPC_S_SERVER_UNAVAILABLE, 0, [] { return delete_port(L"Office"); }, no_server},
        {ERROR_INVALID_PRINTER_NAME, 0, [] { return configure_port(L"Office"); }, no_port},
        {0, ERROR_INVALID_PARAMETER, [] { return configure_port(L"Office", L"print1"); },
         no_port + L"\\\\print1."},
        {ERROR_UNKNOWN_PORT, 0, [] { return delete_port(L"Office"); }, no_port},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(utf8(row.said));
        spooler.open = [&](const std::wstring&) { return row.open; };
        spooler.send = [&](const std::wstring&, const void*) { return row.send; };
        const auto desk = row.start();
        const HWND box = desk->front();
        ASSERT_NE(box, nullptr);
        EXPECT_TRUE(Desk::message(box).starts_with(row.said)) << utf8(Desk::message(box));
        EXPECT_NE(Desk::message(box).find(L"\n\n"), std::wstring::npos) << "no next step";
        desk->key(VK_RETURN);
        expect_end(*desk, row.open != 0 ? row.open : row.send);
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
};

TEST_F(DeleteDialog, APortThatNothingUsesIsDeletedByEnter) {
    spooler.printers = {{L"Reception", L"Office 2"}, {L"Hall", L""}};
    const auto desk = delete_port(L"Office");
    const HWND dialog = desk->front();
    EXPECT_TEXT(text_of(dialog), L"Delete Tessaron TCP/IP Port");
    EXPECT_TEXT(text_of(GetDlgItem(dialog, IDC_QUESTION)), L"Delete the port \"Office\"?\n\nNo printer uses it.");
    desk->key(VK_RETURN);
    expect_end(*desk, ERROR_SUCCESS);
    EXPECT_EQ(spooler.asked(),
              (std::vector<std::string>{"open ,XcvPort Office 1", "printers of here 2", "printers of here 2",
                                        "open ,XcvPort Office 1", "send TSDeletePort"}));
    EXPECT_TEXT(spooler.sent_name(), L"Office");
}

TEST_F(DeleteDialog, PrintersThatUseThePortAreNamedAndEnterKeepsIt) {
    spooler.printers = {{L"\\\\print1\\One", L"OFFICE"},
                        {L"Two", L"LPT1:,office"},
                        {L"Three", L"Office2"},
                        {L"Four", L"Hall, Office"},
                        {L"Five & Six", L"office"}};
    auto desk = delete_port(L"Office", L"\\\\print1");
    HWND dialog = desk->front();
    EXPECT_TRUE(Desk::begins(dialog, IDC_QUESTION, L"Delete the port \"Office\"?\n\nThese printers use it."));
    EXPECT_TRUE(fits(dialog, IDC_QUESTION));
    EXPECT_EQ(listed(dialog), (std::vector<std::wstring>{L"\\\\print1\\One", L"Two", L"Four", L"Five & Six"}));
    desk->key(VK_RETURN);
    expect_end(*desk, ERROR_CANCELLED);
    EXPECT_EQ(spooler.asked().back(), "printers of \\\\print1 8");

    desk = delete_port(L"Office", L"\\\\print1");
    desk->front();
    desk->alt(L'D');
    expect_end(*desk, ERROR_SUCCESS);
    EXPECT_EQ(spooler.asked().back(), "send TSDeletePort");
}

TEST_F(DeleteDialog, ANameWithACommaIsFoundWholeAndTheLongestCanBeRead) {
    const std::wstring longest(64, L'W');
    EXPECT_TRUE(fits(delete_port(longest.c_str())->front(), IDC_QUESTION));
    spooler.printers = {{L"One", L"Room 12, left"}, {L"Two", L"left"}, {L"Three", longest}};
    EXPECT_TRUE(fits(delete_port(longest.c_str())->front(), IDC_QUESTION));
    EXPECT_EQ(listed(delete_port(L"Room 12, left")->front()), std::vector<std::wstring>{L"One"});
}

TEST_F(DeleteDialog, WhenThePrintersCannotBeListedThatIsSaid) {
    spooler.enumerate = [] { return DWORD{RPC_S_CALL_FAILED}; };
    const auto desk = delete_port(L"Office");
    const HWND dialog = desk->front();
    EXPECT_TRUE(Desk::begins(dialog, IDC_QUESTION,
                             L"Delete the port \"Office\"?\n\nIt could not be determined which printers use it: "));
    EXPECT_TRUE(fits(dialog, IDC_QUESTION));
}

TEST_F(DeleteDialog, ADeletionThatFailsIsSaid) {
    const struct {
        DWORD error;
        const WCHAR* said;
    } rows[] = {{ERROR_FILE_NOT_FOUND, L"There is no Tessaron TCP/IP Port \"Office\" on this computer."},
                {ERROR_ACCESS_DENIED, L"You do not have the right"},
                {ERROR_BUSY, L"The port was not deleted: "}};
    for (const auto& row : rows) {
        spooler.send = [&](const std::wstring&, const void*) { return row.error; };
        const auto desk = delete_port(L"Office");
        const HWND dialog = desk->front();
        desk->click(dialog, IDOK);
        const HWND box = desk->front_after(dialog);
        EXPECT_TRUE(Desk::message(box).starts_with(row.said)) << utf8(Desk::message(box));
        desk->key(VK_RETURN);
        expect_end(*desk, row.error);
    }
}

}  // namespace
}  // namespace ui
