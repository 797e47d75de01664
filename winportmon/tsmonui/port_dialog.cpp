#include "winportmon/tsmonui/port_dialog.h"

#include "winportmon/contract/names.h"
#include "winportmon/tsmonui/dialog.h"
#include "winportmon/tsmonui/resource.h"
#include "winportmon/tsmonui/rules.h"

namespace tsmonui {
namespace {

constexpr UINT kTestEnded = WM_APP + 1;
constexpr DWORD kTestSeconds = 10;
constexpr WPARAM kPortDigits = 5;

template <size_t N>
void Store(WCHAR (&field)[N], const Text& text) {
    lstrcpynW(field, text.c_str(), N);
}

// What is said of a test's result; its parts are the port, then the server, the time or the reason, then a number.
Text TextOf(const ProbeResult& result, const Text& port, const Text& server) {
    const contract::PrinterCheck& check = result.check;
    switch (result.answer) {
        case ProbeResult::Answer::server_yes:
            return TableText(IDS_TEST_ACCEPTED_ON, port, server);
        case ProbeResult::Answer::server_no:
            return TableText(IDS_TEST_SERVER_SAYS_NO, port, server);
        case ProbeResult::Answer::not_done:
            return TableText(IDS_TEST_NOT_DONE, port, ErrorText(result.error), NumberText(result.error));
        case ProbeResult::Answer::checked:
            break;
    }
    switch (check.verdict) {
        case contract::Verdict::accepted:
            return TableText(check.silent == 0 ? IDS_TEST_ACCEPTED : IDS_TEST_ACCEPTED_LATE, port,
                             NumberText(check.silent), NumberText(check.wait_seconds));
        case contract::Verdict::unknown_name:
            return TableText(IDS_TEST_NAME_UNKNOWN);
        case contract::Verdict::refused:
            return TableText(IDS_TEST_REFUSED, port);
        case contract::Verdict::no_answer:
            return TableText(IDS_TEST_NO_ANSWER, port, NumberText(kTestSeconds));
        case contract::Verdict::failed:
            break;
    }
    return TableText(IDS_TEST_FAILED, port, ErrorText(check.error), NumberText(check.error));
}

}  // namespace

PortDialog::PortDialog(const Server& server, const WCHAR* monitor)
    : server_(server), monitor_(monitor), adding_(true), config_{} {
    config_.port_number = contract::kUsualPortNumber;
}

PortDialog::PortDialog(const Server& server, const WCHAR* monitor, const contract::PortConfig& config)
    : server_(server), monitor_(monitor), adding_(false), config_(config) {}

DWORD PortDialog::Show(HWND owner) {
    return RunDialog(IDD_PORT, owner, Procedure, reinterpret_cast<LPARAM>(this));
}

INT_PTR CALLBACK PortDialog::Procedure(HWND window, UINT message, WPARAM first, LPARAM second) {
    if (message == WM_INITDIALOG) {
        auto* const created = reinterpret_cast<PortDialog*>(second);
        SetWindowLongPtrW(window, DWLP_USER, second);
        created->window_ = window;
        created->Initialise();
        return FALSE;  // the focus is set
    }
    auto* const dialog = reinterpret_cast<PortDialog*>(GetWindowLongPtrW(window, DWLP_USER));
    return dialog != nullptr ? dialog->Handle(message, first) : FALSE;
}

INT_PTR PortDialog::Handle(UINT message, WPARAM first) {
    if (message == WM_COMMAND) {
        Command(LOWORD(first), HIWORD(first));
        return TRUE;
    }
    if (message == kTestEnded) {
        if (probe_ != nullptr && first == ticket_) TestEnded();
        return TRUE;
    }
    if (message == WM_DESTROY) {
        EndProbe(probe_);
        probe_ = nullptr;
    }
    return FALSE;
}

void PortDialog::Initialise() {
    SetWindowTextW(window_, TitleFor(adding_ ? IDS_ADD_TITLE : IDS_CONFIGURE_TITLE, server_).c_str());
    SendDlgItemMessageW(window_, IDC_ADDRESS, EM_LIMITTEXT, kAddressLimit, 0);
    SendDlgItemMessageW(window_, IDC_NAME, EM_LIMITTEXT, kNameLimit, 0);
    SendDlgItemMessageW(window_, IDC_PORT, EM_LIMITTEXT, kPortDigits, 0);
    setting_ = true;
    SetDlgItemTextW(window_, IDC_ADDRESS, Text().Add(config_.printer_address, kAddressLimit).c_str());
    SetDlgItemTextW(window_, IDC_NAME, Text().Add(config_.port_name, kNameLimit).c_str());
    SetDlgItemTextW(window_, IDC_PORT, NumberText(config_.port_number).c_str());
    setting_ = false;
    if (!adding_) SendDlgItemMessageW(window_, IDC_NAME, EM_SETREADONLY, TRUE, 0);
    Check();
    SetFocus(GetDlgItem(window_, IDC_ADDRESS));
    SendDlgItemMessageW(window_, IDC_ADDRESS, EM_SETSEL, 0, -1);
}

void PortDialog::Command(int control, int what) {
    const bool field = control == IDC_ADDRESS || control == IDC_NAME || control == IDC_PORT;
    if (field && what == EN_CHANGE && !setting_) {
        FieldChanged(control);
    } else if (field && what == EN_MAXTEXT) {
        FieldFull(control);
    } else if (control == IDC_TEST) {
        if (probe_ == nullptr) {
            StartTest();
        } else {
            StopTest(IDS_TEST_STOPPED);
        }
    } else if (control == IDOK) {
        if (IsWindowEnabled(GetDlgItem(window_, IDOK))) Accept();  // whoever sends it
    } else if (control == IDCANCEL) {
        EndDialog(window_, IDCANCEL);
    }
}

// -- The fields ------------------------------------------------------------------------------------------------------

void PortDialog::FieldChanged(int control) {
    if (control == IDC_NAME) {
        name_taken_ = false;
        name_typed_ = !ControlText(window_, IDC_NAME).empty();
    } else {
        if (control == IDC_ADDRESS && adding_ && !name_typed_) ProposeName();
        StopTest(0);
    }
    Check();
    // A text that was cut while it was pasted is said to be full first and changed afterwards.
    full_ = 0;
}

void PortDialog::FieldFull(int control) {
    full_ = control;
    Check();
}

void PortDialog::ProposeName() {
    setting_ = true;
    SetDlgItemTextW(window_, IDC_NAME, ProposedName(ControlText(window_, IDC_ADDRESS)).c_str());
    setting_ = false;
    name_taken_ = false;
}

// Shows what is wrong with each field, and disables the buttons while something is.
void PortDialog::Check() {
    const Text address = AddressProblem(ControlText(window_, IDC_ADDRESS));
    const Text name = NameProblemHere();
    const Text port = PortProblem(ControlText(window_, IDC_PORT));
    SayOf(IDC_ADDRESS_NOTE, address, full_ == IDC_ADDRESS ? IDS_ADDRESS_LIMIT : IDS_ADDRESS_HINT);
    SayOf(IDC_NAME_NOTE, name, !adding_ ? IDS_NAME_FIXED : full_ == IDC_NAME ? IDS_NAME_LIMIT : IDS_NAME_HINT);
    SayOf(IDC_PORT_NOTE, port, IDS_PORT_HINT);
    const bool testable = address.empty() && port.empty();
    EnableWindow(GetDlgItem(window_, IDC_TEST), testable);
    EnableWindow(GetDlgItem(window_, IDOK), testable && name.empty());
}

Text PortDialog::NameProblemHere() const {
    if (!adding_) return Text();
    return name_taken_ ? TableText(IDS_NAME_TAKEN) : NameProblem(ControlText(window_, IDC_NAME));
}

// The problem, or what is said when there is none.
void PortDialog::SayOf(int note, const Text& problem, UINT otherwise) {
    Say(window_, note, problem.empty() ? TableText(otherwise) : problem);
}

contract::PortConfig PortDialog::Typed() const {
    contract::PortConfig typed = config_;
    Store(typed.printer_address, ControlText(window_, IDC_ADDRESS));
    if (adding_) Store(typed.port_name, ControlText(window_, IDC_NAME));
    typed.port_number = contract::ParsePortNumber(ControlText(window_, IDC_PORT));
    return typed;
}

// -- The test --------------------------------------------------------------------------------------------------------

void PortDialog::StartTest() {
    const contract::PortConfig typed = Typed();
    probe_ = StartProbe({server_, monitor_, typed, kTestSeconds * 1000, window_, kTestEnded, ++ticket_});
    const Text port = NumberText(typed.port_number);
    if (probe_ == nullptr) {
        const DWORD error = GetLastError();
        Say(window_, IDC_TEST_RESULT, TableText(IDS_TEST_NOT_DONE, port, ErrorText(error), NumberText(error)));
        return;
    }
    SetDlgItemTextW(window_, IDC_TEST, TableText(IDS_STOP).c_str());
    Say(window_, IDC_TEST_RESULT,
        server_.is_this_computer() ? TableText(IDS_TEST_RUNS, port, NumberText(kTestSeconds))
                                   : TableText(IDS_TEST_RUNS_ON, port, server_.name()));
}

// Cancels a running test and shows why; 0 clears the result of the last one.
void PortDialog::StopTest(UINT why) {
    EndProbe(probe_);
    if (probe_ != nullptr) SetDlgItemTextW(window_, IDC_TEST, TableText(IDS_TEST).c_str());
    probe_ = nullptr;
    Say(window_, IDC_TEST_RESULT, why != 0 ? TableText(why) : Text());
}

void PortDialog::TestEnded() {
    const ProbeResult result = ResultOf(probe_);
    const Text port = NumberText(Typed().port_number);  // the one tested: a change would have cancelled the test
    StopTest(0);
    Say(window_, IDC_TEST_RESULT, TextOf(result, port, server_.InWords()));
}

// -- OK --------------------------------------------------------------------------------------------------------------

// The channel is opened for this one command, so that it works after a restart of the spooler too.
void PortDialog::Accept() {
    const contract::PortConfig typed = Typed();
    if (!adding_ && memcmp(&typed, &config_, sizeof typed) == 0) {
        EndDialog(window_, IDCANCEL);
        return;
    }
    const HCURSOR before = SetCursor(LoadCursorW(nullptr, MAKEINTRESOURCEW(32514)));  // IDC_WAIT
    Channel channel;
    DWORD error = adding_ ? channel.OpenMonitor(server_, monitor_, Channel::kAdminister)
                          : channel.OpenPort(server_, typed.port_name, Channel::kAdminister);
    const bool opened = error == ERROR_SUCCESS;
    if (opened) error = channel.Send(adding_ ? contract::kAddPort : contract::kConfigPort, &typed, sizeof typed);
    SetCursor(before);
    if (error == ERROR_SUCCESS) {
        config_ = typed;
        if (adding_) CheckKnown();
        EndDialog(window_, IDOK);
    } else if (opened) {
        Refused(error);
    } else {
        Tell(window_, TitleFor(adding_ ? IDS_ADD_TITLE : IDS_CONFIGURE_TITLE, server_),
             ChannelFailure(error, server_, adding_ ? nullptr : typed.port_name));
    }
}

// A spooler may keep a list of ports of its own that a new one is not in before it starts again.
void PortDialog::CheckKnown() const {
    Channel channel;
    const DWORD error = channel.OpenPort(server_, config_.port_name, Channel::kEnumerate);
    if (error != ERROR_UNKNOWN_PORT && error != ERROR_INVALID_PRINTER_NAME) return;
    Tell(window_, TitleFor(IDS_ADD_TITLE, server_),
         TableText(IDS_NOT_KNOWN, Text(config_.port_name), server_.InWords()), MB_ICONWARNING);
}

// The server refused; the dialog stays open with its input.
void PortDialog::Refused(DWORD error) {
    if (adding_ && error == ERROR_ALREADY_EXISTS) {
        name_taken_ = true;
        Check();
        SetFocus(GetDlgItem(window_, IDC_NAME));
        SendDlgItemMessageW(window_, IDC_NAME, EM_SETSEL, 0, -1);
        return;
    }
    Text text = TableText(adding_ ? IDS_NOT_ADDED : IDS_NOT_CHANGED, ErrorText(error), NumberText(error));
    if (error == ERROR_ACCESS_DENIED) text = TableText(IDS_NO_ACCESS, server_.InWords());
    if (!adding_ && error == ERROR_INVALID_PARAMETER) text = TableText(IDS_NOT_STORED);
    Tell(window_, TitleFor(adding_ ? IDS_ADD_TITLE : IDS_CONFIGURE_TITLE, server_), text);
}

}  // namespace tsmonui
