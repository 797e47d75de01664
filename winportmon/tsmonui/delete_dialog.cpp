#include "winportmon/tsmonui/delete_dialog.h"

#include "winportmon/tsmonui/dialog.h"
#include "winportmon/tsmonui/resource.h"

namespace tsmonui {
namespace {

bool SameName(const WCHAR* one, int one_length, const WCHAR* other) {
    return CompareStringOrdinal(one, one_length, other, -1, TRUE) == CSTR_EQUAL;
}

// Whether one of a printer's ports, separated by commas, is this one. A name from before may hold commas itself.
bool Names(const WCHAR* ports, const WCHAR* port) {
    if (ports == nullptr) return false;
    if (SameName(ports, -1, port)) return true;
    for (const WCHAR* start = ports;; ++start) {
        const WCHAR* end = start;
        while (*end != 0 && *end != W(',')) ++end;
        while (start < end && *start == W(' ')) ++start;
        if (SameName(start, static_cast<int>(end - start), port)) return true;
        if (*end == 0) return false;
        start = end;
    }
}

// The printers of a server.
class Printers {
  public:
    Printers() = default;
    ~Printers() { Free(); }
    Printers(const Printers&) = delete;
    Printers& operator=(const Printers&) = delete;

    // 0, or why they are not known.
    DWORD Load(const Server& server) {
        const DWORD flags = server.is_this_computer() ? PRINTER_ENUM_LOCAL : PRINTER_ENUM_NAME;
        WCHAR name[Text::kSize] = {};
        lstrcpynW(name, server.name().c_str(), Text::kSize);
        WCHAR* const server_name = server.is_this_computer() ? nullptr : name;
        DWORD size = 0;
        int tries = 8;  // the list may grow meanwhile, but not for ever
        while (!EnumPrintersW(flags, server_name, 2, records_, size, &size, &count_)) {
            const DWORD error = GetLastError();
            count_ = 0;
            if (error != ERROR_INSUFFICIENT_BUFFER || tries-- == 0) return error;
            Free();
            records_ = static_cast<BYTE*>(HeapAlloc(GetProcessHeap(), 0, size));
            if (records_ == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
        }
        return ERROR_SUCCESS;
    }

    // Calls for the name of each printer that uses the port; returns how many there are.
    template <typename Call>
    DWORD ForEachUser(const WCHAR* port, Call call) const {
        DWORD users = 0;
        const auto* const printers = reinterpret_cast<const PRINTER_INFO_2W*>(records_);
        for (DWORD i = 0; i < count_; ++i) {
            if (!Names(printers[i].pPortName, port)) continue;
            ++users;
            call(printers[i].pPrinterName);
        }
        return users;
    }

  private:
    void Free() {
        if (records_ != nullptr) HeapFree(GetProcessHeap(), 0, records_);
        records_ = nullptr;
    }

    BYTE* records_ = nullptr;
    DWORD count_ = 0;
};

struct Question {
    const Server& server;
    const WCHAR* port;
    Printers printers;
    DWORD error = ERROR_SUCCESS;  // why the printers are not known
    bool used = false;
};

Text InWords(const Question& question) {
    Text consequence = TableText(question.used ? IDS_DELETE_USED : IDS_DELETE_UNUSED);
    if (question.error != ERROR_SUCCESS) {
        consequence = TableText(IDS_DELETE_USE_UNKNOWN, ErrorText(question.error), NumberText(question.error));
    }
    return TableText(IDS_DELETE_QUESTION, Text(question.port), consequence);
}

void Initialise(HWND window, const Question& question) {
    SetWindowTextW(window, TitleFor(IDS_DELETE_TITLE, question.server).c_str());
    SetDlgItemTextW(window, IDC_QUESTION, InWords(question).c_str());
    SendDlgItemMessageW(window, IDC_WARNING_SIGN, STM_SETICON,
                        reinterpret_cast<WPARAM>(LoadIconW(nullptr, MAKEINTRESOURCEW(32515))), 0);  // IDI_WARNING
    if (!question.used) return;
    question.printers.ForEachUser(question.port, [window](const WCHAR* printer) {
        SendDlgItemMessageW(window, IDC_PRINTERS, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(printer));
    });
}

INT_PTR CALLBACK Procedure(HWND window, UINT message, WPARAM first, LPARAM second) {
    if (message == WM_INITDIALOG) {
        const auto& question = *reinterpret_cast<const Question*>(second);
        Initialise(window, question);
        SetFocus(GetDlgItem(window, question.used ? IDCANCEL : IDOK));
        return FALSE;  // the focus is set
    }
    if (message == WM_COMMAND && (LOWORD(first) == IDOK || LOWORD(first) == IDCANCEL)) {
        EndDialog(window, LOWORD(first));
        return TRUE;
    }
    return FALSE;
}

}  // namespace

DWORD AskToDelete(HWND owner, const Server& server, const WCHAR* port) {
    Question question = {server, port, {}};
    question.error = question.printers.Load(server);
    question.used = question.printers.ForEachUser(port, [](const WCHAR*) {}) > 0;
    return RunDialog(question.used ? IDD_DELETE_USED : IDD_DELETE, owner, Procedure,
                     reinterpret_cast<LPARAM>(&question));
}

}  // namespace tsmonui
